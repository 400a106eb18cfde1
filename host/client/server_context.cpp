#include "host/client/server_context.h"

#include <dlfcn.h>
#include <link.h>

#include "host/engine/errors.h"

namespace survey::client {

using host::ErrorKind;
using host::EvaluationError;

namespace {

int FindInObject(dl_phdr_info* info, std::size_t, void* data) {
  auto* const codec = static_cast<HostSelectorCodec*>(data);
  char const* const name = info->dlpi_name;
  // The program itself has an empty name; dlopen of null stands for it.
  void* const handle =
      dlopen(name != nullptr && *name != '\0' ? name : nullptr, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return 0;
  HostSelectorCodec found;
  found.flatten = reinterpret_cast<SurveyFlattenHostSelectorFunction>(
      dlsym(handle, kSurveyFlattenHostSelectorSymbol));
  found.read =
      reinterpret_cast<SurveyReadHostSelectorFunction>(dlsym(handle, kSurveyReadHostSelectorSymbol));
  found.describe = reinterpret_cast<SurveyDescribeHostSelectorFunction>(
      dlsym(handle, kSurveyDescribeHostSelectorSymbol));
  found.free = reinterpret_cast<SurveyDeleteHostSelectorFunction>(
      dlsym(handle, kSurveyDeleteHostSelectorSymbol));
  // The object stays loaded: the host that loaded it holds it.
  dlclose(handle);
  if (!found.Found()) return 0;
  *codec = found;
  return 1;
}

}  // namespace

HostSelectorCodec HostSelectorCodec::Find() {
  HostSelectorCodec codec;
  dl_iterate_phdr(&FindInObject, &codec);
  return codec;
}

ServerContext::ServerContext(ClientState& state) : state_(state) {}

ServerContext::~ServerContext() {
  if (selected_ != nullptr && codec_.free != nullptr) codec_.free(selected_);
}

HostSelectorEntry const* ServerContext::GetSelectedServer() {
  if (read_) return selected_;
  if (state_.Folder() == nullptr) {
    read_ = true;
    return nullptr;
  }
  ServerRecordSet const servers = state_.Records().Servers();
  if (!servers.selected) {
    read_ = true;
    return nullptr;
  }
  if (*servers.selected >= servers.list.size()) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          "the selected server is not in the client's server list");
  }
  codec_ = HostSelectorCodec::Find();
  if (!codec_.Found()) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          "the surveyor library does not read server entries here");
  }
  std::string const& bytes = servers.list[*servers.selected];
  selected_ = codec_.read(reinterpret_cast<unsigned char const*>(bytes.data()),
                          static_cast<unsigned long>(bytes.size()));
  if (selected_ == nullptr) {
    throw EvaluationError(ErrorKind::kNotAvailable,
                          "the selected server's entry in the client's records is damaged");
  }
  read_ = true;
  return selected_;
}

}  // namespace survey::client
