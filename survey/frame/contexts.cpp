#include "survey/frame/contexts.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "survey/frame/registration.h"

// ---------------------------------------------------------------------------
// Dependency functions.

void DependsOnSiteList(Fingerprinter& fingerprinter) {
  unsigned long const generation = CallContext<&SurveyorSiteContext::GetSiteListSerial>();
  FingerprintBytewise<unsigned long>(fingerprinter, generation);
}

void DependsOnProcessTable(Fingerprinter& fingerprinter) {
  unsigned long const generation = CallContext<&SurveyorProcessTableContext::GetTableSerial>();
  FingerprintBytewise<unsigned long>(fingerprinter, generation);
}

// ---------------------------------------------------------------------------
// Global dependency nodes.

DependencyNode CurrentActionDependencyNode;
DependencyNode CurrentAnalysisDependencyNode;
DependencyNode ComputerIDDependencyNode;
DependencyNode OSDependencyNode;
DependencyNode ComputerNameDependencyNode;

void CurrentActionNodeState(Fingerprinter& fingerprinter) {
  auto const current = ContextSlotIfPresent<&SurveyorActionContext::GetCurrentAction>();
  if (current == nullptr) return;
  SurveyorActionData action{};
  if (!current(&action)) {
    // No current action is a state of its own, folded in like any other.
    action.firstActiveCount = 0;
    action.activeCount = 0;
  }
  FingerprintBytewise<unsigned short>(fingerprinter, action.firstActiveCount);
  FingerprintBytewise<unsigned short>(fingerprinter, action.activeCount);
}

void CurrentAnalysisNodeState(Fingerprinter& fingerprinter) {
  auto const current = ContextSlotIfPresent<&SurveyorAnalysisContext::GetCurrentAnalysis>();
  if (current == nullptr) return;
  SurveyorAnalysisData analysis{};
  if (!current(&analysis)) analysis.time = 0;
  FingerprintBytewise<long long>(fingerprinter, analysis.time);
}

namespace {

// Prepares a server record as the library hands it to the host: cleared, with
// each buffer pointing into its own bytes.
void PrepareServerRecord(SurveyorServerRecord& record) {
  std::memset(&record, 0, sizeof record);
  for (SurveyorServerBuffer& buffer : record.buffers) {
    buffer.begin = buffer.bytes;
    buffer.current = buffer.bytes;
    buffer.end = buffer.bytes + sizeof buffer.bytes;
  }
}

}  // namespace

void ComputerIDNodeState(Fingerprinter& fingerprinter) {
  SurveyorServerContext* const servers = FindContextInterface<SurveyorServerContext>();
  if (servers == nullptr) return;
  // The record is large; it lives on the heap rather than on the stack of
  // whatever walk asked for the fingerprint.
  auto const record = std::make_unique<SurveyorServerRecord>();
  PrepareServerRecord(*record);
  servers->GetServerRecord(*record);
  unsigned long long const computerId = record->computerId;
  FingerprintBytewise<unsigned long long>(fingerprinter, computerId);
}

namespace {

// The operating system's identity as this process first saw it: the system's
// name, the kernel's release and version line, and the machine's
// architecture. Taken once and kept, so that the node's state is fixed for
// the life of the process: these properties are taken as stable.
struct OSIdentity {
  struct utsname names;
  bool taken = false;
};

surveyor_string ViewOf(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text),
                         static_cast<unsigned long>(std::strlen(text))};
}

}  // namespace

void OSNodeState(Fingerprinter& fingerprinter) {
  static OSIdentity identity;
  if (!identity.taken) {
    if (uname(&identity.names) != 0) return;  // tried again at the next run
    identity.taken = true;
  }
  fingerprinter << ViewOf(identity.names.sysname) << ViewOf(identity.names.release)
                << ViewOf(identity.names.version) << ViewOf(identity.names.machine);
}

void ComputerNameNodeState(Fingerprinter& fingerprinter) {
  char name[1024];
  if (gethostname(name, 1023) != 0) return;
  name[1023] = '\0';
  Fingerprint_Byte_Range(fingerprinter, name, name + std::strlen(name));
}

void CurrentActionDependencyNodeFunction(Fingerprinter& fingerprinter) {
  Fingerprint_Global(fingerprinter, &CurrentActionDependencyNode);
}

void CurrentAnalysisDependencyNodeFunction(Fingerprinter& fingerprinter) {
  Fingerprint_Global(fingerprinter, &CurrentAnalysisDependencyNode);
}

void ComputerIDDependencyNodeFunction(Fingerprinter& fingerprinter) {
  Fingerprint_Global(fingerprinter, &ComputerIDDependencyNode);
}

void OSDependencyNodeFunction(Fingerprinter& fingerprinter) {
  Fingerprint_Global(fingerprinter, &OSDependencyNode);
}

void ComputerNameDependencyNodeFunction(Fingerprinter& fingerprinter) {
  Fingerprint_Global(fingerprinter, &ComputerNameDependencyNode);
}

// ---------------------------------------------------------------------------
// Yielding. Every missing piece, down to a null slot, means "do nothing".

void YieldTimeSlice() {
  SurveyorContext* const context = Get_Generic_Surveyor_Context();
  if (context == nullptr) return;
  SurveyorYieldContext* const yield = dynamic_cast<SurveyorYieldContext*>(context);
  if (yield == nullptr || yield->YieldTimeSlice == nullptr) return;
  yield->YieldTimeSlice(context);
}

void Trickle() {
  SurveyorContext* const context = Get_Generic_Surveyor_Context();
  if (context == nullptr) return;
  SurveyorYieldContext* const yield = dynamic_cast<SurveyorYieldContext*>(context);
  if (yield == nullptr || yield->Trickle == nullptr) return;
  yield->Trickle(context);
}

// ---------------------------------------------------------------------------
// Registration of the nodes.

namespace {

void RegisterDependencyNodes() {
  RegisterGlobalDependency<&CurrentActionDependencyNode>("CurrentAction", &CurrentActionNodeState);
  RegisterGlobalDependency<&CurrentAnalysisDependencyNode>("CurrentAnalysis",
                                                           &CurrentAnalysisNodeState);
  RegisterGlobalDependency<&ComputerIDDependencyNode>("ComputerID", &ComputerIDNodeState);
  RegisterGlobalDependency<&OSDependencyNode>("StableOSProperties", &OSNodeState);
  RegisterGlobalDependency<&ComputerNameDependencyNode>("StableComputerNameProperties",
                                                        &ComputerNameNodeState);
}

[[maybe_unused]] int const registered = (RegisterDependencyNodes(), 0);

}  // namespace
