#include "host/engine/errors.h"

namespace survey::host {

char const* ErrorKindName(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::kSyntax: return "syntax error";
    case ErrorKind::kUnknownPhrase: return "unknown phrase";
    case ErrorKind::kNoSuchProperty: return "no such property";
    case ErrorKind::kNoValue: return "no value";
    case ErrorKind::kMoreThanOneValue: return "more than one value";
    case ErrorKind::kTypeError: return "type error";
    case ErrorKind::kNotAvailable: return "not available";
    case ErrorKind::kMessage: return "message";
    case ErrorKind::kInterrupted: return "interrupted";
    case ErrorKind::kLoad: return "load error";
  }
  return "error";
}

std::string LibraryErrorWords(std::string_view className) {
  struct Words {
    std::string_view name;
    char const* words;
  };
  // The library's exceptions carry no text: the class is the whole message.
  static constexpr Words kWords[] = {
      {"FileIOError", "input or output error"},
      {"FileItemError", "cannot look at the file"},
      {"FilePermissionError", "permission denied"},
      {"FileSeekError", "cannot set the position in the file"},
      {"EndOfFileError", "the file ended before the bytes asked for"},
      {"FileLockError", "the file is locked by another process"},
      {"FileResourceError", "out of file descriptors or memory"},
      {"FileNotFoundError", "no such file"},
      {"DirectoryNotFoundError", "no such folder, or the path is too long"},
      {"FileNotOpenError", "the file is not open"},
      {"FileReadingLoopEndOfFileError", "read past the end of the file"},
      {"NewFileLoop::Error", "the walk of the folder failed"},
      {"NewFileLoop::InvalidIteratorPosition", "the walk of the folder has no present item"},
      {"NewFileItem::Error", "cannot look at the item"},
      {"NewFileItem::Invalid", "the item could not be looked at, or its target does not exist"},
      {"NotANumeral", "not a number"},
      {"NumeralTooLarge", "number too large"},
      {"SubnetPrefixLengthTooLarge", "subnet prefix length above 32"},
      {"NonCanonicalSubnetAddress", "the subnet address has bits set after its prefix"},
      {"StringyLengthTooLong", "text too long"},
      {"DataOverflow", "data too long for its room"},
      {"DataTooSmall", "no room left for a field"},
      {"ConstDataTooSmall", "data too short to read"},
      {"ConstDataCapacityExceeded", "data too long for its room"},
      {"NoMoreData", "data ended early"},
      {"FormatError", "malformed data"},
      {"ExceptionPL", "a failure of the platform"},
      {"InterfaceInfoError", "cannot read the network interfaces"},
      {"SurveyorContextError", "this host does not answer that"},
      {"SurveyorNudgeContextError", "the nudge context does not answer that"},
      {"SurveyorActionContextError", "the action context does not answer that"},
      {"SurveyorAnalysisContextError", "the analysis context does not answer that"},
      {"SurveyorSettingsContextError", "the settings context does not answer that"},
      {"SurveyorSystemContextError", "the system context does not answer that"},
      {"SurveyorStorageContextError", "the storage context does not answer that"},
      {"SurveyorNetworkContextError", "the network context does not answer that"},
      {"SurveyorSiteContextError", "the site context does not answer that"},
      {"SurveyorProcessTableContextError", "the process table cannot be read"},
      {"CannotEvaluateNow", "cannot be evaluated now"},
      {"NoSurveyorContext", "this host has no context for it"},
  };
  for (Words const& entry : kWords) {
    if (entry.name == className) return entry.words;
  }
  return "an error of the library (" + std::string(className) + ")";
}

std::string Quoted(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '"';
  quoted.append(text);
  quoted += '"';
  return quoted;
}

}  // namespace survey::host
