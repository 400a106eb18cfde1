// Fuzz target for the loop over the lines of a file: its passes against its
// increments. The first byte chooses the size of the line buffer, the second
// the memory read ahead, the next four seed the choice of steps; the rest is
// the file. A first loop goes by increments alone; a second goes by a mix of
// increments, passes of many lines, passes before a stop and passes onto
// it, and must land on the same lines, with the same bytes passed, and
// never move or read the bytes it holds in a pass before a stop.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "survey/foundation/file_reader.h"

namespace {

[[noreturn]] void Fail(char const* what) {
  std::fprintf(stderr, "file lines: %s\n", what);
  std::abort();
}

// A line as the increments give it.
struct Line {
  std::string text;
  std::string ending;
  unsigned long bytes;
};

std::string Text(ConstData data) {
  return std::string(reinterpret_cast<char const*>(data.begin), data.Length());
}

// The file's bytes in memory of the kernel's, reached by a path.
class MemoryFile {
 public:
  explicit MemoryFile(std::string const& bytes) {
    descriptor_ = memfd_create("lines", 0);
    if (descriptor_ < 0) return;
    std::size_t written = 0;
    while (written < bytes.size()) {
      ssize_t const got = ::write(descriptor_, bytes.data() + written, bytes.size() - written);
      if (got <= 0) Fail("the file could not be written");
      written += static_cast<std::size_t>(got);
    }
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  ~MemoryFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;

  bool Made() const { return descriptor_ >= 0; }
  char const* Path() const { return path_.c_str(); }

 private:
  int descriptor_ = -1;
  std::string path_;
};

std::vector<Line> LinesByIncrements(FileReadingPath const& file, unsigned long size,
                                    unsigned long ahead) {
  std::vector<unsigned char> buffer(size);
  FileLineLoop loop{Data(buffer.data(), buffer.size())};
  loop.ReadAhead(ahead);
  loop.Start(file, 0);
  std::vector<Line> lines;
  for (; loop.Unfinished(); ++loop) {
    lines.push_back({Text(loop.Line()), Text(loop.Ending()), loop.ByteCount()});
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 6) return 0;
  static unsigned long const kSizes[] = {16, 17, 64, 100, 2048};
  unsigned long const bufferSize = kSizes[data[0] % 5];
  unsigned long const aheads[] = {0, 2 * bufferSize, 2 * bufferSize + 7, 65536};
  unsigned long const ahead = aheads[data[1] % 4];
  std::uint32_t seed;
  std::memcpy(&seed, data + 2, sizeof seed);
  auto next = [&seed]() {
    seed = seed * 1103515245u + 12345u;
    return (seed >> 16) & 0x7FFF;
  };
  MemoryFile memory(std::string(reinterpret_cast<char const*>(data + 6), size - 6));
  if (!memory.Made()) return 0;
  FileReadingPath file{FileLocation(memory.Path())};
  std::vector<Line> const lines = LinesByIncrements(file, bufferSize, ahead);

  std::vector<unsigned char> buffer(bufferSize);
  FileLineLoop loop{Data(buffer.data(), buffer.size())};
  loop.ReadAhead(ahead);
  loop.Start(file, 0);
  // The number of the present line.
  std::size_t at = 0;
  auto sameLine = [&]() {
    if (at >= lines.size()) Fail("a line past the last");
    if (Text(loop.Line()) != lines[at].text || Text(loop.Ending()) != lines[at].ending ||
        loop.ByteCount() != lines[at].bytes) {
      Fail("a pass landed on another line than the increments");
    }
  };
  // The bytes of the lines from `from` up to the present one.
  auto bytesFrom = [&](std::size_t from) {
    unsigned long sum = 0;
    for (std::size_t k = from; k < at; ++k) sum += lines[k].bytes;
    return sum;
  };
  for (int step = 0; step < 20000 && loop.Unfinished(); ++step) {
    sameLine();
    std::size_t const before = at;
    unsigned long const most = 1 + next() % 64;
    unsigned long bytes = 0;
    switch (next() % 4) {
      case 0:
        ++loop;
        ++at;
        if (loop.Finished()) {
          if (at != lines.size()) Fail("the increments ended early");
          return 0;
        }
        break;
      case 1: {
        unsigned long const moved = loop.Advance(most, bytes);
        if (moved > most) Fail("a pass moved past its most");
        at += moved;
        if (moved < most) {
          // The loop finished on the way, after one more step.
          if (!loop.Finished() || at + 1 != lines.size()) Fail("a pass ended early");
          if (bytes != bytesFrom(before) + lines[at].bytes) Fail("a pass counted other bytes");
          return 0;
        }
        if (bytes != bytesFrom(before)) Fail("a pass counted other bytes");
        break;
      }
      default: {
        bool const onto = next() % 2 == 0;
        ConstData const held = loop.Ahead();
        unsigned char const* const stop = held.begin + next() % (held.Length() + 2);
        unsigned long const moves = loop.Moves();
        unsigned long const moved =
            onto ? loop.PassOnto(most, stop, bytes) : loop.PassBefore(most, stop, bytes);
        if (moved > most) Fail("a pass moved past its most");
        at += moved;
        if (loop.Moves() != moves) Fail("a pass before a stop read or moved bytes");
        if (loop.Finished()) Fail("a pass before a stop finished the loop");
        if (bytes != bytesFrom(before)) Fail("a pass counted other bytes");
        // Every line moved to but the last of a pass onto the stop ends
        // before it; so does that last one for a pass before it.
        if (moved != 0 && !onto && loop.Line().end >= stop) Fail("a pass went past its stop");
        break;
      }
    }
  }
  return 0;
}
