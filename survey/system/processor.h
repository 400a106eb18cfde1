// The machine's processors, from the text of /proc/cpuinfo alone: the world
// properties "main processor" and "processor" (every one, or by number), and
// what a block of that file tells of its processor, among which the name of
// its generation, made from the vendor, the family and the model.
//
// Processors are numbered from 1 in queries, while the file numbers its
// blocks from 0. Every value reads the file anew; nothing is kept.
#pragma once

#include <cstdint>
#include <cstdio>

#include "survey/frame/adaptors.h"

// The host's frequency type: a count of hertz laid out as an integer.
struct hertz {
  long long value;

  static constexpr char const* TypeName() { return "hertz"; }
};

// Who made a processor, from the first 12 bytes of its vendor text.
enum ProcessorVendorClass : unsigned char {
  kVendorIntel = 0,    // "GenuineIntel"
  kVendorAmd = 1,      // "AuthenticAMD"
  kVendorCyrix = 2,    // "CyrixInstead"
  kVendorCentaur = 3,  // "CentaurHauls"
  kVendorOther = 4,    // any other text, or none
};

// One block of /proc/cpuinfo. A number is -1, a frequency 0.0 and a text
// null when the block has no line for it. The texts are zero-terminated and
// lie in evaluation memory, so the value needs nothing done when destroyed.
struct SURVEY_API processor_info {
  static constexpr char const* TypeName() { return "processor"; }

  std::int32_t index;  // the block's number plus 1
  std::int32_t family;
  std::int32_t model;
  std::int32_t stepping;
  std::int32_t cpuid_level;
  std::int32_t fdiv_bug;
  std::int32_t hlt_bug;
  std::int32_t sep_bug;
  std::int32_t f00f_bug;
  std::int32_t coma_bug;
  std::int32_t fpu;
  std::int32_t fpu_exception;
  std::int32_t wp;
  float speed;  // megahertz
  float bogomips;
  char const* vendor;
  char const* model_name;
  char const* family_text;
  char const* flags;
  unsigned char vendor_class;

  // The processor of that one-based number, read from the processor file.
  // NoSuchObject for a number of 0 or less (the file is then not opened) and
  // when the file has no such block; FileIOError when it cannot be opened.
  explicit processor_info(long number);
  // The same, read from an open file of that text, from where it stands.
  processor_info(std::FILE* file, long number);

 private:
  // Fills the fields from the file's block of that number.
  void Init(std::FILE* file, long number);
  // Sets `vendor_class` from the stored vendor text.
  void ClassifyVendor();
};

// Every processor, from number 1 on up to the first number the file lacks.
class SURVEY_API processor_iterator {
 public:
  processor_iterator() : number_(0) {}
  processor_info First();
  processor_info Next();

 private:
  long number_;  // the one-based number of the next processor
};

SURVEY_API processor_info Processor_of_world();
// Numbers from 1 to 2147483647; NoSuchObject for any other.
SURVEY_API processor_info Numbered_processor_of_world(integer const& number);

SURVEY_API integer Number_of_processor(processor_info const& processor);
SURVEY_API integer Family_of_processor(processor_info const& processor);
SURVEY_API integer Model_of_processor(processor_info const& processor);
SURVEY_API surveyor_string Family_name_of_processor(processor_info const& processor);
SURVEY_API integer Stepping_of_processor(processor_info const& processor);
SURVEY_API integer Cpuid_of_processor(processor_info const& processor);
SURVEY_API boolean FdivBug_of_processor(processor_info const& processor);
SURVEY_API boolean HltBug_of_processor(processor_info const& processor);
SURVEY_API boolean SepBug_of_processor(processor_info const& processor);
SURVEY_API boolean F00fBug_of_processor(processor_info const& processor);
SURVEY_API boolean ComaBug_of_processor(processor_info const& processor);
SURVEY_API boolean Fpu_of_processor(processor_info const& processor);
SURVEY_API boolean FpuException_of_processor(processor_info const& processor);
SURVEY_API boolean Wp_of_processor(processor_info const& processor);
SURVEY_API hertz Speed_of_processor(processor_info const& processor);
// Scaled by a million like the speed, although it is a plain integer.
SURVEY_API integer BogoMips_of_processor(processor_info const& processor);
SURVEY_API surveyor_string Vendor_name_of_processor(processor_info const& processor);
SURVEY_API surveyor_string Model_name_of_processor(processor_info const& processor);
SURVEY_API surveyor_string Flags_of_processor(processor_info const& processor);

namespace survey::system::testing {

// Reads processors from a copy of `path` instead of "/proc/cpuinfo"; null restores the
// machine's own file, the only one used outside tests. Tests only: no query
// reaches it.
SURVEY_API void ReadProcessorsFrom(char const* path);

}  // namespace survey::system::testing
