#include "survey/frame/contexts.h"

#include <cstddef>
#include <cstring>
#include <memory>

#include "survey/frame/table.h"

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
    // No current action folds 0 for the first count; the second is what the
    // host left in the record, as it is for an action.
    action.firstActiveCount = 0;
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

std::unique_ptr<SurveyorServerRecord> AskServerRecord() {
  SurveyorServerContext& servers = ContextInterface<SurveyorServerContext>();
  // The record is large; it lives on the heap.
  auto record = std::make_unique<SurveyorServerRecord>();
  PrepareServerRecord(*record);
  servers.GetServerRecord(*record);
  return record;
}

HostSelectorEntry const* AskSelectedServer() {
  return ContextInterface<HostSelectorSurveyorContext>().GetSelectedServer();
}

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

// The node functions of "StableOSProperties" and
// "StableComputerNameProperties" belong to the operating system's surveyors,
// which register those two nodes.

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
  SurveyorYieldContext* const yield = survey::frame::RememberedCast<SurveyorYieldContext>(context);
  if (yield == nullptr || yield->YieldTimeSlice == nullptr) return;
  yield->YieldTimeSlice(context);
}

void Trickle() {
  SurveyorContext* const context = Get_Generic_Surveyor_Context();
  if (context == nullptr) return;
  SurveyorYieldContext* const yield = survey::frame::RememberedCast<SurveyorYieldContext>(context);
  if (yield == nullptr || yield->Trickle == nullptr) return;
  yield->Trickle(context);
}

// ---------------------------------------------------------------------------
// Registration of the nodes.

namespace {

RegistrationTable nodes{
    DependencyRow(&CurrentActionDependencyNode, "CurrentAction", &CurrentActionNodeState),
    DependencyRow(&CurrentAnalysisDependencyNode, "CurrentAnalysis", &CurrentAnalysisNodeState),
    DependencyRow(&ComputerIDDependencyNode, "ComputerID", &ComputerIDNodeState),
};

}  // namespace
