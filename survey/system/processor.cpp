#include "survey/system/processor.h"

#include <strings.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "survey/foundation/file_errors.h"
#include "survey/frame/table.h"

namespace {

char const kMachineProcessorFile[] = "/proc/cpuinfo";

// The file that tests name in place of the machine's, kept as a copy; empty
// for the machine's own.
std::string& TestProcessorFile() {
  static std::string path;
  return path;
}

char const* ProcessorFile() {
  std::string const& test = TestProcessorFile();
  return test.empty() ? kMachineProcessorFile : test.c_str();
}

// Lines are read in pieces of at most this many bytes with the terminator: a
// longer line goes on as a piece of its own, read as a line.
constexpr int kLineBufferSize = 256;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

// A decimal number as `strtol` reads it into a 32-bit long: a number beyond
// the range stops at its nearest end, in every build alike.
std::int32_t Decimal32(char const* text) {
  long long const value = std::strtoll(text, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<std::int32_t>(value);
}

// A decimal fraction kept in single precision; beyond its range it is an
// infinity, as the hardware rounds it.
float Fraction(char const* text) {
  double const value = std::strtod(text, nullptr);
  if (std::isfinite(value) && std::fabs(value) > FLT_MAX) {
    return value > 0 ? HUGE_VALF : -HUGE_VALF;
  }
  return static_cast<float>(value);
}

// The value of a key line: the text from two characters behind the ':'
// ("key : value" gives "value"), or the empty text at the line's end when
// the ':' is its last character.
char const* ValueText(char const* colon) { return colon[1] == '\0' ? colon + 1 : colon + 2; }

// A copy of a zero-terminated text in evaluation memory.
char const* EvaluationCopy(char const* text) {
  unsigned long const size = std::strlen(text) + 1;
  unsigned char* const copy = Allocate_Surveyor_Memory(size);
  std::memcpy(copy, text, size);
  return reinterpret_cast<char const*>(copy);
}

// What a key line sets, and how it reads its value.
enum class KeyAction {
  kNumber,         // a field of `strtol` of the text behind the ':'
  kFrequency,      // a field of `strtod` of the text behind the ':'
  kYes,            // 1 when "yes" occurs anywhere in the line, else 0
  kText,           // a copy of the value text
  kNumberOfValue,  // `strtol` of the value text
};

struct KeyRule {
  char const* key;
  KeyAction action;
  std::int32_t processor_info::*number;
  float processor_info::*frequency;
  char const* processor_info::*text;
};

constexpr KeyRule Number(char const* key, std::int32_t processor_info::*field) {
  return {key, KeyAction::kNumber, field, nullptr, nullptr};
}
constexpr KeyRule Frequency(char const* key, float processor_info::*field) {
  return {key, KeyAction::kFrequency, nullptr, field, nullptr};
}
constexpr KeyRule Yes(char const* key, std::int32_t processor_info::*field) {
  return {key, KeyAction::kYes, field, nullptr, nullptr};
}
constexpr KeyRule Text(char const* key, char const* processor_info::*field) {
  return {key, KeyAction::kText, nullptr, nullptr, field};
}

// The keys of a block, tried in this order; the first whose text starts the
// line, without regard to case, takes it. Being prefix tests, the order
// matters: "fpu_exception" before "fpu", "model name" before "model"; and
// "vendor" takes the usual "vendor_id", "wp" any line starting with those
// two letters.
constexpr KeyRule kKeyRules[] = {
    Number("cpu family", &processor_info::family),
    Number("stepping", &processor_info::stepping),
    Frequency("cpu mhz", &processor_info::speed),
    Number("cpuid level", &processor_info::cpuid_level),
    Frequency("bogomips", &processor_info::bogomips),
    Yes("fdiv_bug", &processor_info::fdiv_bug),
    Yes("hlt_bug", &processor_info::hlt_bug),
    Yes("sep_bug", &processor_info::sep_bug),
    Yes("f00f_bug", &processor_info::f00f_bug),
    Yes("coma_bug", &processor_info::coma_bug),
    Yes("wp", &processor_info::wp),
    Yes("fpu_exception", &processor_info::fpu_exception),
    Yes("fpu", &processor_info::fpu),
    Text("vendor", &processor_info::vendor),
    Text("flags", &processor_info::flags),
    Text("model name", &processor_info::model_name),
    Text("family", &processor_info::family_text),
    {"model", KeyAction::kNumberOfValue, &processor_info::model, nullptr, nullptr},
};

bool StartsWithKey(char const* line, char const* key) {
  return strncasecmp(line, key, std::strlen(key)) == 0;
}

// Applies the first rule whose key starts the line. A key line without ':'
// has no value and is passed over.
void ApplyKeyLine(processor_info& info, char const* line) {
  for (KeyRule const& rule : kKeyRules) {
    if (!StartsWithKey(line, rule.key)) continue;
    char const* const colon = std::strchr(line, ':');
    if (colon == nullptr) return;
    switch (rule.action) {
      case KeyAction::kNumber:
        info.*rule.number = Decimal32(colon + 1);
        break;
      case KeyAction::kFrequency:
        info.*rule.frequency = Fraction(colon + 1);
        break;
      case KeyAction::kYes:
        info.*rule.number = std::strstr(line, "yes") != nullptr ? 1 : 0;
        break;
      case KeyAction::kText:
        info.*rule.text = EvaluationCopy(ValueText(colon));
        break;
      case KeyAction::kNumberOfValue:
        info.*rule.number = Decimal32(ValueText(colon));
        break;
    }
    return;
  }
}

void RemoveLineEnd(char* line) {
  std::size_t length = std::strlen(line);
  while (length > 0 && (line[length - 1] == '\n' || line[length - 1] == '\r')) {
    line[--length] = '\0';
  }
}

void SetAbsent(processor_info& info) {
  for (std::int32_t processor_info::*field :
       {&processor_info::index, &processor_info::family, &processor_info::model,
        &processor_info::stepping, &processor_info::cpuid_level, &processor_info::fdiv_bug,
        &processor_info::hlt_bug, &processor_info::sep_bug, &processor_info::f00f_bug,
        &processor_info::coma_bug, &processor_info::fpu, &processor_info::fpu_exception,
        &processor_info::wp}) {
    info.*field = -1;
  }
  info.speed = 0.0f;
  info.bogomips = 0.0f;
  info.vendor = nullptr;
  info.model_name = nullptr;
  info.family_text = nullptr;
  info.flags = nullptr;
  info.vendor_class = kVendorOther;
}

}  // namespace

// ---------------------------------------------------------------------------
// Reading a block.

processor_info::processor_info(long number) {
  SetAbsent(*this);
  if (number <= 0) throw NoSuchObject();
  OpenFile const file(std::fopen(ProcessorFile(), "r"));
  if (file == nullptr) throw FileIOError();
  Init(file.get(), number);
  ClassifyVendor();
}

processor_info::processor_info(std::FILE* file, long number) {
  SetAbsent(*this);
  if (number <= 0) throw NoSuchObject();
  Init(file, number);
  ClassifyVendor();
}

void processor_info::Init(std::FILE* file, long number) {
  // The block being read: the number of its last "processor" line.
  long current = -1;
  char line[kLineBufferSize];
  while (!std::feof(file)) {
    if (std::fgets(line, kLineBufferSize, file) == nullptr) break;
    RemoveLineEnd(line);
    if (StartsWithKey(line, "processor")) {
      char const* const colon = std::strchr(line, ':');
      if (colon == nullptr) continue;
      current = Decimal32(colon + 1);
      if (current == number - 1) index = static_cast<std::int32_t>(current + 1);
      continue;
    }
    if (current != number - 1) continue;
    ApplyKeyLine(*this, line);
  }
  if (index == -1) throw NoSuchObject();
}

void processor_info::ClassifyVendor() {
  struct VendorText {
    char const* text;
    ProcessorVendorClass vendorClass;
  };
  static constexpr VendorText kVendors[] = {
      {"GenuineIntel", kVendorIntel},
      {"AuthenticAMD", kVendorAmd},
      {"CyrixInstead", kVendorCyrix},
      {"CentaurHauls", kVendorCentaur},
  };
  vendor_class = kVendorOther;
  if (vendor == nullptr) return;
  for (VendorText const& known : kVendors) {
    if (std::strncmp(vendor, known.text, 12) == 0) {
      vendor_class = known.vendorClass;
      return;
    }
  }
}

// ---------------------------------------------------------------------------
// The world's processors.

processor_info Processor_of_world() { return processor_info(1); }

processor_info Numbered_processor_of_world(integer const& number) {
  if (number.value < 1 || number.value > INT32_MAX) throw NoSuchObject();
  return processor_info(static_cast<long>(number.value));
}

processor_info processor_iterator::First() {
  number_ = 1;
  return Next();
}

processor_info processor_iterator::Next() {
  processor_info info(number_);
  ++number_;
  return info;
}

// ---------------------------------------------------------------------------
// Properties.

namespace {

integer NumberOf(std::int32_t field) {
  if (field == -1) throw NoSuchObject();
  return integer{field};
}

boolean FlagOf(std::int32_t field) {
  if (field == -1) throw NoSuchObject();
  return boolean{static_cast<unsigned char>(field != 0 ? 1 : 0)};
}

// A frequency in megahertz as a count of millionths, worked out in extended
// precision. A value too large for 64 bits (or not a number) has no count.
long long Millionths(float field) {
  if (field == 0.0f) throw NoSuchObject();
  long double const scaled = static_cast<long double>(field) * 1000000.0L;
  if (!(scaled > -9223372036854775808.0L && scaled < 9223372036854775808.0L)) {
    throw NoSuchObject();
  }
  return static_cast<long long>(scaled);
}

surveyor_string TextOf(char const* field) {
  if (field == nullptr) throw NoSuchObject();
  char const* const start = field + std::strspn(field, " \t");
  return surveyor_string{reinterpret_cast<unsigned char const*>(start), std::strlen(start)};
}

surveyor_string Literal(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), std::strlen(text)};
}

char const* IntelFamilyName(processor_info const& processor, char const* candidate) {
  switch (processor.family) {
    case 0:
      return "8086";
    case 2:
      return "80286";
    case 3:
      return "80386";
    case 4:
      return "80486";
    case 5:
      return "Pentium";
    case 6: {
      std::int32_t const model = processor.model;
      if (model == 3) return "Pentium II";
      if (model == 1) return "Pentium Pro";
      if (model <= 6) return "Pentium II";
      if (model == 9 || model == 13) return "Pentium M";
      if (model == 7 || model == 8 || model == 10 || model == 11) return "Pentium III";
      if (model == 14) return "Core";
      if (model == 15) return "Core 2";
      return candidate;
    }
    case 7:
      return "Itanium";
    case 15:
      return processor.family_text != nullptr ? processor.family_text : "Pentium 4";
    default:
      return processor.family_text != nullptr ? processor.family_text : candidate;
  }
}

char const* AmdFamilyName(processor_info const& processor, char const* candidate) {
  switch (processor.family) {
    case 4:
      return "80486";
    case 5:
      return processor.model <= 5 ? "K5" : "K6";
    case 6: {
      std::int32_t const model = processor.model;
      if (model == 3) return "Duron";
      if (model == 1 || model == 2 || model == 4) return "Athlon";
      // A block without a model name has no name to search.
      if (processor.model_name == nullptr) return candidate;
      for (char const* name : {"Athlon", "Duron", "Sempron"}) {
        if (std::strstr(processor.model_name, name) != nullptr) return name;
      }
      return candidate;
    }
    default:
      return candidate;
  }
}

char const* CyrixFamilyName(processor_info const& processor, char const* candidate) {
  switch (processor.family) {
    case 4:
      return "MediaGX";
    case 5:
      return processor.model == 2 ? "6x86" : "GXm";
    case 6:
      return "6x86MX";
    default:
      return candidate;
  }
}

}  // namespace

integer Number_of_processor(processor_info const& processor) { return NumberOf(processor.index); }
integer Family_of_processor(processor_info const& processor) { return NumberOf(processor.family); }
integer Model_of_processor(processor_info const& processor) { return NumberOf(processor.model); }
integer Stepping_of_processor(processor_info const& processor) {
  return NumberOf(processor.stepping);
}
integer Cpuid_of_processor(processor_info const& processor) {
  return NumberOf(processor.cpuid_level);
}

surveyor_string Family_name_of_processor(processor_info const& processor) {
  // The vendor's own text stands in where the table has no name; it is given
  // as stored, leading blanks and all.
  char const* const candidate =
      processor.vendor != nullptr && processor.vendor[0] != '\0' ? processor.vendor : "Unknown";
  switch (processor.vendor_class) {
    case kVendorIntel:
      return Literal(IntelFamilyName(processor, candidate));
    case kVendorAmd:
      return Literal(AmdFamilyName(processor, candidate));
    case kVendorCyrix:
      return Literal(CyrixFamilyName(processor, candidate));
    case kVendorCentaur:
      return Literal(processor.family == 5 ? "C6" : candidate);
    default:
      return Literal("Ambiguous");
  }
}

boolean FdivBug_of_processor(processor_info const& processor) { return FlagOf(processor.fdiv_bug); }
boolean HltBug_of_processor(processor_info const& processor) { return FlagOf(processor.hlt_bug); }
boolean SepBug_of_processor(processor_info const& processor) { return FlagOf(processor.sep_bug); }
boolean F00fBug_of_processor(processor_info const& processor) { return FlagOf(processor.f00f_bug); }
boolean ComaBug_of_processor(processor_info const& processor) { return FlagOf(processor.coma_bug); }
boolean Fpu_of_processor(processor_info const& processor) { return FlagOf(processor.fpu); }
boolean FpuException_of_processor(processor_info const& processor) {
  return FlagOf(processor.fpu_exception);
}
boolean Wp_of_processor(processor_info const& processor) { return FlagOf(processor.wp); }

hertz Speed_of_processor(processor_info const& processor) {
  return hertz{Millionths(processor.speed)};
}

integer BogoMips_of_processor(processor_info const& processor) {
  return integer{Millionths(processor.bogomips)};
}

surveyor_string Vendor_name_of_processor(processor_info const& processor) {
  return TextOf(processor.vendor);
}
surveyor_string Model_name_of_processor(processor_info const& processor) {
  return TextOf(processor.model_name);
}
surveyor_string Flags_of_processor(processor_info const& processor) {
  return TextOf(processor.flags);
}

void survey::system::testing::ReadProcessorsFrom(char const* path) {
  TestProcessorFile() = path != nullptr ? path : "";
}

// ---------------------------------------------------------------------------
// Registration, in table order. A processor's block is read whole when the
// value is made, so its properties depend on the value alone.

namespace {

RegistrationTable table{
    TypeRow<processor_info>(),
    PropertyRow("main processor", "main processors", &Processor_of_world, &DependsOnlyOnParameters),
    IteratedRow<processor_iterator>("processor", "processors", &DependsOnlyOnParameters),
    IndexedRow("processor", "processors", &Numbered_processor_of_world, &DependsOnlyOnParameters),
    PropertyRow("index", "indexes", &Number_of_processor, &DependsOnlyOnParameters),
    PropertyRow("family", "families", &Family_of_processor, &DependsOnlyOnParameters),
    PropertyRow("model", "models", &Model_of_processor, &DependsOnlyOnParameters),
    PropertyRow("family name", "family names", &Family_name_of_processor, &DependsOnlyOnParameters),
    PropertyRow("stepping", "steppings", &Stepping_of_processor, &DependsOnlyOnParameters),
    PropertyRow("cpuid level", "cpuid levels", &Cpuid_of_processor, &DependsOnlyOnParameters),
    PropertyRow("fdiv bug", "fdiv bugs", &FdivBug_of_processor, &DependsOnlyOnParameters),
    PropertyRow("hlt bug", "hlt bugs", &HltBug_of_processor, &DependsOnlyOnParameters),
    PropertyRow("sep bug", "sep bugs", &SepBug_of_processor, &DependsOnlyOnParameters),
    PropertyRow("f00f bug", "f00f bugs", &F00fBug_of_processor, &DependsOnlyOnParameters),
    PropertyRow("coma bug", "coma bugs", &ComaBug_of_processor, &DependsOnlyOnParameters),
    PropertyRow("fpu", "fpus", &Fpu_of_processor, &DependsOnlyOnParameters),
    PropertyRow("fpu exception", "fpu exceptions", &FpuException_of_processor,
                &DependsOnlyOnParameters),
    PropertyRow("wp", "wps", &Wp_of_processor, &DependsOnlyOnParameters),
    PropertyRow("speed", "speeds", &Speed_of_processor, &DependsOnlyOnParameters),
    PropertyRow("bogomips", "bogomipses", &BogoMips_of_processor, &DependsOnlyOnParameters),
    PropertyRow("vendor name", "vendor names", &Vendor_name_of_processor, &DependsOnlyOnParameters),
    PropertyRow("model name", "model names", &Model_name_of_processor, &DependsOnlyOnParameters),
    PropertyRow("flag list", "flag lists", &Flags_of_processor, &DependsOnlyOnParameters),
};

}  // namespace
