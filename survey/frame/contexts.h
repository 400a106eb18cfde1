// Reaching the host's evaluation context, the dependency functions and nodes
// built on it, and the calls that let a long walk yield.
//
// A context lives only while the host evaluates, so nothing here keeps a
// pointer to it: every use asks `Get_Generic_Surveyor_Context` anew and
// casts to the interface it needs, in this order of tests:
//
//   1. the context; none: step 5;
//   2. the cast to the interface; none: step 5;
//   3. the slot; null: throw the interface's error class;
//   4. call the slot, whose result is the answer;
//   5. throw `NoSurveyorContext`.
//
// The slots that fill a record of the library's through a pointer follow
// the same order: `ReadNextExecution` and `GetApplicationUsageSummary` of
// `SurveyorProcessTableContext` are found with `ContextSlot` (no interface:
// `NoSurveyorContext`; a null slot: `SurveyorProcessTableContextError`),
// then called with the iterator's cursor, or with the summary's outputs and
// the present context; their false result is `NoSuchObject` to the caller.
//
// Dependency functions differ at step 5: they may be asked for a fingerprint
// outside any evaluation, so a missing context or interface adds nothing and
// they return. `DependsOnSiteList` and `DependsOnProcessTable` are the
// exceptions and throw as a property does. `YieldTimeSlice` and `Trickle`
// return without doing anything in every missing case, a null slot included.
//
// The server record and the selected server are reached through interfaces
// with virtual operations, so steps 3 and 4 are one call:
//
//   - `AskServerRecord` makes a record on the heap, clears it, points each
//     of its four buffers at its own bytes (begin and current at the start,
//     end behind the last), and asks the host to fill it; the library reads
//     only the fields it names, whatever the host writes elsewhere;
//   - `AskSelectedServer` gives the host's entry as it stands, which the
//     host keeps until the evaluation ends; null for none.
#pragma once

#include <memory>
#include <utility>

#include "survey/frame/adaptors.h"
#include "survey/frame/remembered_cast.h"

// ---------------------------------------------------------------------------
// The error class that a null slot of an interface throws. Interfaces without
// one of their own throw the common base.

template <class Interface>
struct ContextErrorOf {
  using Type = SurveyorContextError;
};
template <>
struct ContextErrorOf<SurveyorNudgeContext> {
  using Type = SurveyorNudgeContextError;
};
template <>
struct ContextErrorOf<SurveyorActionContext> {
  using Type = SurveyorActionContextError;
};
template <>
struct ContextErrorOf<SurveyorAnalysisContext> {
  using Type = SurveyorAnalysisContextError;
};
template <>
struct ContextErrorOf<SurveyorSettingsContext> {
  using Type = SurveyorSettingsContextError;
};
template <>
struct ContextErrorOf<SurveyorSystemContext> {
  using Type = SurveyorSystemContextError;
};
template <>
struct ContextErrorOf<SurveyorStorageContext> {
  using Type = SurveyorStorageContextError;
};
template <>
struct ContextErrorOf<SurveyorNetworkContext> {
  using Type = SurveyorNetworkContextError;
};
template <>
struct ContextErrorOf<SurveyorSiteContext> {
  using Type = SurveyorSiteContextError;
};
template <>
struct ContextErrorOf<SurveyorProcessTableContext> {
  using Type = SurveyorProcessTableContextError;
};

namespace survey::frame {

// The interface and function type of a slot given as a pointer to member.
template <class Slot>
struct SlotTraits;
template <class Interface, class Function>
struct SlotTraits<Function Interface::*> {
  using InterfaceType = Interface;
  using FunctionType = Function;
};

template <auto Slot>
using InterfaceOf = typename SlotTraits<decltype(Slot)>::InterfaceType;
template <auto Slot>
using SlotFunctionOf = typename SlotTraits<decltype(Slot)>::FunctionType;

}  // namespace survey::frame

// Steps 1 and 2: the interface of the present context, or null when there is
// no context or it does not offer the interface.
template <class Interface>
Interface* FindContextInterface() {
  SurveyorContext* const context = Get_Generic_Surveyor_Context();
  if (context == nullptr) return nullptr;
  return survey::frame::RememberedCast<Interface>(context);
}

// Steps 1, 2 and 5, for the interfaces whose operations are virtual.
template <class Interface>
Interface& ContextInterface() {
  Interface* const interface = FindContextInterface<Interface>();
  if (interface == nullptr) throw NoSurveyorContext();
  return *interface;
}

// Steps 1, 2, 3 and 5: the slot, never null.
template <auto Slot>
survey::frame::SlotFunctionOf<Slot> ContextSlot() {
  using Interface = survey::frame::InterfaceOf<Slot>;
  Interface* const interface = FindContextInterface<Interface>();
  if (interface == nullptr) throw NoSurveyorContext();
  survey::frame::SlotFunctionOf<Slot> const slot = interface->*Slot;
  if (slot == nullptr) throw typename ContextErrorOf<Interface>::Type();
  return slot;
}

// Steps 1 to 5: calls the slot with the arguments and gives its result, as
// in `CallContext<&SurveyorNetworkContext::GetDnsName>(&text, &Allocate)`.
template <auto Slot, class... Arguments>
decltype(auto) CallContext(Arguments&&... arguments) {
  return ContextSlot<Slot>()(std::forward<Arguments>(arguments)...);
}

// Steps 1 to 3 as a dependency function takes them: the slot, or null when
// there is no context or interface; a null slot still throws.
template <auto Slot>
survey::frame::SlotFunctionOf<Slot> ContextSlotIfPresent() {
  using Interface = survey::frame::InterfaceOf<Slot>;
  Interface* const interface = FindContextInterface<Interface>();
  if (interface == nullptr) return nullptr;
  survey::frame::SlotFunctionOf<Slot> const slot = interface->*Slot;
  if (slot == nullptr) throw typename ContextErrorOf<Interface>::Type();
  return slot;
}

// ---------------------------------------------------------------------------
// The servers' interfaces. Both throw `NoSurveyorContext` without a context
// or interface.

// The host's server record, prepared and filled as told above.
SURVEY_API std::unique_ptr<SurveyorServerRecord> AskServerRecord();
// The host's selected server; null when it has none.
SURVEY_API HostSelectorEntry const* AskSelectedServer();

// ---------------------------------------------------------------------------
// Dependency functions given at registration.

// The generation of the host's site list. Throws `NoSurveyorContext` without
// a context or site interface, `SurveyorSiteContextError` for a null slot.
SURVEY_API void DependsOnSiteList(Fingerprinter& fingerprinter);
// The generation of the host's process table, in the same way.
SURVEY_API void DependsOnProcessTable(Fingerprinter& fingerprinter);

// ---------------------------------------------------------------------------
// Global dependency nodes. Each node is registered with its node function,
// which folds in the present state; a property takes the matching
// `...DependencyNodeFunction`, which folds in the node's state as the host
// keeps it.

// "CurrentAction": the first and present active counts of the current action;
// with none, 0 for the first and the second as the host left the record.
SURVEY_API extern DependencyNode CurrentActionDependencyNode;
// "CurrentAnalysis": the time of the current analysis, 0 when there is none.
SURVEY_API extern DependencyNode CurrentAnalysisDependencyNode;
// "ComputerID": the client's computer identifier.
SURVEY_API extern DependencyNode ComputerIDDependencyNode;
// "StableOSProperties": the operating system's identity, as first seen by
// this process.
SURVEY_API extern DependencyNode OSDependencyNode;
// "StableComputerNameProperties": the host name.
SURVEY_API extern DependencyNode ComputerNameDependencyNode;

// The node functions. Those of "StableOSProperties" and
// "StableComputerNameProperties" are the operating system surveyors', which
// register the two nodes with their own vocabulary.
SURVEY_API void CurrentActionNodeState(Fingerprinter& fingerprinter);
SURVEY_API void CurrentAnalysisNodeState(Fingerprinter& fingerprinter);
SURVEY_API void ComputerIDNodeState(Fingerprinter& fingerprinter);
SURVEY_API void OSNodeState(Fingerprinter& fingerprinter);
SURVEY_API void ComputerNameNodeState(Fingerprinter& fingerprinter);

// The dependency functions of properties that depend on a node.
SURVEY_API void CurrentActionDependencyNodeFunction(Fingerprinter& fingerprinter);
SURVEY_API void CurrentAnalysisDependencyNodeFunction(Fingerprinter& fingerprinter);
SURVEY_API void ComputerIDDependencyNodeFunction(Fingerprinter& fingerprinter);
SURVEY_API void OSDependencyNodeFunction(Fingerprinter& fingerprinter);
SURVEY_API void ComputerNameDependencyNodeFunction(Fingerprinter& fingerprinter);

// ---------------------------------------------------------------------------
// Yielding.

// Gives up the time slice through the host, if it offers that.
SURVEY_API void YieldTimeSlice();
// Lets the host pace a long walk, if it offers that. Called once per step.
SURVEY_API void Trickle();
