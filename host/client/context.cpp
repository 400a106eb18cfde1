#include "host/client/context.h"

namespace survey::client {

ClientContext::ClientContext(ClientFolder* folder)
    : ClientStateHolder(folder), StorageContext(state), ProcessTableContext(state),
      SettingsContext(state),
      SiteContext(state), ActionContext(state),
      NudgeContext(state), HostStateContext(state), CertificateContext(state),
      ServerContext(state) {}

ClientContext::~ClientContext() = default;

ClientContext* ClientContext::Current() {
  return survey::frame::RememberedCast<ClientContext>(Get_Generic_Surveyor_Context());
}

}  // namespace survey::client
