#include "survey/foundation/file_reader.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <typeinfo>
#include <vector>

#include "survey/foundation/stringy.h"
#include "tests/support/repeatable_random.h"
#include "tests/support/shell.h"

namespace {

// What a shell command prints.
std::string Shell(std::string const& command) { return survey::testing::Output(command); }

// The number of open descriptors of this process.
int OpenDescriptors() {
  int count = 0;
  DIR* folder = ::opendir("/proc/self/fd");
  if (folder == nullptr) return -1;
  while (dirent* entry = ::readdir(folder)) {
    if (entry->d_name[0] != '.') ++count;
  }
  ::closedir(folder);
  return count;
}

// The whole of a file by plain reads, as cat gives it.
std::string ReadAll(char const* path) {
  std::string out;
  int fd = ::open(path, O_RDONLY);
  if (fd < 0) return out;
  char block[512];
  ssize_t got;
  while ((got = ::read(fd, block, sizeof block)) > 0) out.append(block, static_cast<size_t>(got));
  ::close(fd);
  return out;
}

// The text before the first ':' of each line.
std::vector<std::string> LineNames(std::vector<std::string> const& lines) {
  std::vector<std::string> names;
  for (auto const& line : lines) names.push_back(line.substr(0, line.find(':')));
  return names;
}

std::vector<std::string> SplitAtLf(std::string const& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

class FileReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/file_reader_test.XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { Shell("rm -rf '" + folder_ + "'"); }

  std::string Write(std::string const& name, std::string const& bytes) {
    std::string path = folder_ + "/" + name;
    FILE* file = std::fopen(path.c_str(), "wb");
    EXPECT_NE(file, nullptr);
    if (file != nullptr) {
      std::fwrite(bytes.data(), 1, bytes.size(), file);
      std::fclose(file);
    }
    return path;
  }

  std::string folder_;
};

// A line and its ending as the loop gives them.
struct Line {
  std::string text;
  std::string ending;
  bool operator==(Line const& other) const {
    return text == other.text && ending == other.ending;
  }
};

void PrintTo(Line const& line, std::ostream* out) {
  *out << "{\"" << line.text << "\", " << line.ending.size() << " bytes}";
}

std::vector<Line> LinesOf(std::string const& path, unsigned long bufferSize,
                          unsigned long offset = 0) {
  std::vector<unsigned char> buffer(bufferSize);
  FileReadingPath file{FileLocation(path.c_str())};
  FileLineLoop loop(Data(buffer.data(), buffer.size()), file, offset);
  std::vector<Line> lines;
  for (; loop.Unfinished(); ++loop) {
    lines.push_back({MakeString(loop.Line()), MakeString(loop.Ending())});
    if (lines.size() > 100000) break;  // a loop that never ends fails below
  }
  return lines;
}

// ---------------------------------------------------------------------------
// Opening

TEST_F(FileReaderTest, KmsgIsRefusedWithThePlainErrorWithoutOpeningIt) {
  int before = OpenDescriptors();
  try {
    FileReadingPath path{FileLocation("/proc/kmsg")};
    FAIL() << "/proc/kmsg was opened";
  } catch (FileIOError const& error) {
    // Opening it would have given a permission error, or blocked on read;
    // the plain class shows that no open was made.
    EXPECT_EQ(typeid(error), typeid(FileIOError));
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(FileReaderTest, OpenErrorsGoToTheirClasses) {
  EXPECT_THROW(FileReadingPath{FileLocation((folder_ + "/missing").c_str())}, FileNotFoundError);
  std::string plain = Write("plain", "x");
  EXPECT_THROW(FileReadingPath{FileLocation((plain + "/below").c_str())}, DirectoryNotFoundError);
  std::string longName(5000, 'n');
  EXPECT_THROW(FileReadingPath{FileLocation((folder_ + "/" + longName).c_str())},
               DirectoryNotFoundError);
  if (::geteuid() != 0) {
    std::string locked = Write("locked", "secret");
    ASSERT_EQ(::chmod(locked.c_str(), 0), 0);
    EXPECT_THROW(FileReadingPath{FileLocation(locked.c_str())}, FilePermissionError);
  }
}

TEST_F(FileReaderTest, PathErrorTableMapsErrnoValues) {
  EXPECT_NO_THROW(FileReadingPath::ThrowError(0));
  EXPECT_THROW(FileReadingPath::ThrowError(EPERM), FilePermissionError);
  EXPECT_THROW(FileReadingPath::ThrowError(EACCES), FilePermissionError);
  EXPECT_THROW(FileReadingPath::ThrowError(ENOENT), FileNotFoundError);
  EXPECT_THROW(FileReadingPath::ThrowError(EAGAIN), FileLockError);
  EXPECT_THROW(FileReadingPath::ThrowError(ENOMEM), FileResourceError);
  EXPECT_THROW(FileReadingPath::ThrowError(ENFILE), FileResourceError);
  EXPECT_THROW(FileReadingPath::ThrowError(EMFILE), FileResourceError);
  EXPECT_THROW(FileReadingPath::ThrowError(ENOTDIR), DirectoryNotFoundError);
  EXPECT_THROW(FileReadingPath::ThrowError(ENAMETOOLONG), DirectoryNotFoundError);
  try {
    FileReadingPath::ThrowError(EOVERFLOW);
    FAIL();
  } catch (FileIOError const& error) {
    EXPECT_EQ(typeid(error), typeid(FileIOError));
  }
}

TEST_F(FileReaderTest, ReaderErrorTableMapsErrnoValues) {
  EXPECT_NO_THROW(FileReader::ThrowError(0));
  EXPECT_THROW(FileReader::ThrowError(EPERM), FilePermissionError);
  EXPECT_THROW(FileReader::ThrowError(EACCES), FilePermissionError);
  EXPECT_THROW(FileReader::ThrowError(EINVAL), FileSeekError);
  EXPECT_THROW(FileReader::ThrowError(FileReader::kShortRead), EndOfFileError);
  try {
    FileReader::ThrowError(EIO);
    FAIL();
  } catch (FileIOError const& error) {
    EXPECT_EQ(typeid(error), typeid(FileIOError));
  }
}

TEST_F(FileReaderTest, DescriptorIsCloseOnExecAndClosedByTheDestructor) {
  std::string path = Write("f", "abc");
  int before = OpenDescriptors();
  {
    FileReadingPath file{FileLocation(path.c_str())};
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(OpenDescriptors(), before + 1);
    EXPECT_NE(::fcntl(file.Descriptor(), F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(FileReaderTest, CloseIsIdempotentAndLengthNeedsAnOpenPath) {
  std::string path = Write("f", "abc");
  FileReadingPath file{FileLocation(path.c_str())};
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_NO_THROW(file.Close());
  EXPECT_THROW(file.Length(), FileNotOpenError);
  EXPECT_THROW(FileReadingPath().Length(), FileNotOpenError);
}

TEST_F(FileReaderTest, LengthIsTheSizeStatGivesAndLeavesTheOffset) {
  std::string path = Write("f", std::string(12345, 'q'));
  FileReadingPath file{FileLocation(path.c_str())};
  ASSERT_EQ(::lseek(file.Descriptor(), 17, SEEK_SET), 17);
  EXPECT_EQ(std::to_string(file.Length()) + "\n", Shell("stat -c %s '" + path + "'"));
  EXPECT_EQ(::lseek(file.Descriptor(), 0, SEEK_CUR), 17);
}

TEST_F(FileReaderTest, FifoWithoutWriterNeitherHangsNorHasALength) {
  std::string path = folder_ + "/fifo";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  FileReadingPath file{FileLocation(path.c_str())};
  EXPECT_THROW(file.Length(), FileIOError);
  unsigned char buffer[64];
  EXPECT_THROW(FileLineLoop(Data(buffer, sizeof buffer), file, 0), FileIOError);
}

// ---------------------------------------------------------------------------
// Files with no length

TEST_F(FileReaderTest, ProcStatusHasNoLengthAndIsReadToItsEnd) {
  FileReadingPath file{FileLocation("/proc/self/status")};
  EXPECT_EQ(file.Length(), kUnknownFileLength);
  EXPECT_EQ(file.Length(), ~0UL);
  // The same, now from the remembered mark.
  EXPECT_EQ(file.Length(), kUnknownFileLength);

  FileReader reader(file, 0);
  std::string text;
  unsigned char block[100];
  int reads = 0;
  while (reader.Unfinished() && reads < 100000) {
    Buffer into(Data(block, sizeof block));
    reader >> into;
    text.append(reinterpret_cast<char const*>(block), into.Processed().Length());
    ++reads;
  }
  EXPECT_TRUE(reader.Finished());
  EXPECT_EQ(reader.Position(), text.size());

  // The values change from one read to the next, the names do not.
  std::string plain = ReadAll("/proc/self/status");
  ASSERT_FALSE(plain.empty());
  EXPECT_EQ(LineNames(SplitAtLf(text)), LineNames(SplitAtLf(plain)));
  EXPECT_EQ(text.back(), '\n');
  EXPECT_EQ(text.substr(0, text.find('\n')), plain.substr(0, plain.find('\n')));

  // A read at the end gives nothing and is no error.
  Buffer into(Data(block, sizeof block));
  reader >> into;
  EXPECT_TRUE(into.Processed().Empty());
}

TEST_F(FileReaderTest, ProcStatusLinesMatchAPlainRead) {
  std::vector<Line> lines = LinesOf("/proc/self/status", 2048);
  std::vector<std::string> texts;
  for (auto const& line : lines) {
    texts.push_back(line.text);
    EXPECT_EQ(line.ending, "\n") << line.text;
  }
  EXPECT_EQ(LineNames(texts), LineNames(SplitAtLf(ReadAll("/proc/self/status"))));
}

TEST_F(FileReaderTest, ReadingLoopOverAFileWithNoLengthEndsPastTheEnd) {
  FileReadingPath file{FileLocation("/proc/self/status")};
  unsigned char window[64];
  FileReadingLoop loop(Data(window, sizeof window), file, 0);
  EXPECT_EQ(loop.Remaining(), kUnknownFileLength);
  std::string text;
  auto walk = [&] {
    for (int steps = 0; loop.Remaining() != 0 && steps < 100000; ++steps) {
      text.append(reinterpret_cast<char const*>(loop.Block().begin), loop.Block().Length());
      ++loop;
    }
  };
  EXPECT_THROW(walk(), FileReadingLoopEndOfFileError);
  EXPECT_EQ(LineNames(SplitAtLf(text)), LineNames(SplitAtLf(ReadAll("/proc/self/status"))));
}

// ---------------------------------------------------------------------------
// Reading

TEST_F(FileReaderTest, ReadForMoreThanRemainsMovesByWhatCameAndRaises) {
  std::string path = Write("f", "0123456789");
  FileReadingPath file{FileLocation(path.c_str())};
  FileReader reader(file, 6);
  unsigned char target[8] = {};
  EXPECT_THROW(reader >> Data(target, sizeof target), EndOfFileError);
  EXPECT_EQ(reader.Position(), 10u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(target), 4), "6789");
  EXPECT_TRUE(reader.Finished());
}

TEST_F(FileReaderTest, ReadFillsTheTargetAndSeeksEachTime) {
  std::string path = Write("f", "0123456789");
  FileReadingPath file{FileLocation(path.c_str())};
  FileReader first(file, 2);
  FileReader second(file, 7);
  unsigned char a[3], b[3];
  first >> Data(a, 3);
  second >> Data(b, 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(a), 3), "234");
  EXPECT_EQ(std::string(reinterpret_cast<char*>(b), 3), "789");
  first >> Data(a, 2);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(a), 2), "56");
  EXPECT_EQ(first.Position(), 7u);
  EXPECT_TRUE(second.Finished());
  EXPECT_TRUE(first.Unfinished());
  first.SetPosition(0);
  first >> Data(a, 1);
  EXPECT_EQ(a[0], '0');
  // An empty target reads nothing, even past the end.
  second >> Data(a, a);
  EXPECT_EQ(second.Position(), 10u);
}

TEST_F(FileReaderTest, ReaderWithoutAnOpenPathIsFinishedAndCannotRead) {
  FileReader reader;
  EXPECT_TRUE(reader.Finished());
  unsigned char byte;
  EXPECT_THROW(reader >> Data(&byte, 1), FileNotOpenError);
}

TEST_F(FileReaderTest, ReadStringyReadsStoredStringsThroughAFileReader) {
  std::string stored;
  auto put = [&stored](std::string const& text) {
    std::uint32_t size = static_cast<std::uint32_t>(text.size() + 1);
    stored += '[';
    stored.append(reinterpret_cast<char const*>(&size), 4);
    stored += ']';
    stored += text;
    stored += '\0';
  };
  put("first");
  put("");
  stored += "[";  // a header cut short
  std::string path = Write("stored", stored);
  FileReadingPath file{FileLocation(path.c_str())};
  FileReader reader(file, 0);
  Stringy value;
  ReadStringy(value, reader);
  EXPECT_EQ(MakeString(value.AsConstData()), "first");
  ReadStringy(value, reader);
  EXPECT_EQ(value.GetLength(), 0u);
  Stringy untouched("keep");
  EXPECT_THROW(ReadStringy(untouched, reader), EndOfFileError);
  EXPECT_EQ(MakeString(untouched.AsConstData()), "keep");
}

// ---------------------------------------------------------------------------
// Reading loops

TEST_F(FileReaderTest, ReadingLoopHandsOutARangeBlockByBlock) {
  std::string content;
  for (int i = 0; i < 1000; ++i) content += static_cast<char>('a' + i % 26);
  std::string path = Write("f", content);
  FileReadingPath file{FileLocation(path.c_str())};
  unsigned char window[64];

  std::string whole;
  FileReadingLoop loop(Data(window, sizeof window), file, 0);
  EXPECT_EQ(loop.Remaining(), 1000u);
  for (; loop.Remaining() != 0; ++loop) {
    EXPECT_LE(loop.Block().Length(), sizeof window);
    whole.append(reinterpret_cast<char const*>(loop.Block().begin), loop.Block().Length());
  }
  EXPECT_EQ(whole, content);
  // At the end the last block stays, and a further step runs past the end.
  EXPECT_FALSE(loop.Block().Empty());

  std::string part;
  FileReadingLoop ranged(Data(window, sizeof window), file, Range<unsigned long>{100, 230});
  for (; ranged.Remaining() != 0; ++ranged)
    part.append(reinterpret_cast<char const*>(ranged.Block().begin), ranged.Block().Length());
  EXPECT_EQ(part, content.substr(100, 130));

  FileReadingLoop empty(Data(window, sizeof window), file, 500, 500);
  EXPECT_EQ(empty.Remaining(), 0u);
  EXPECT_TRUE(empty.Block().Empty());

  FileReadingLoop beyond(Data(window, sizeof window));
  beyond.Start(file, 990, 1100);
  EXPECT_EQ(beyond.Block().Length(), 10u);
  EXPECT_EQ(beyond.Remaining(), 110u);
  EXPECT_THROW(
      {
        FileReadingLoop past(Data(window, sizeof window), file, 990, 1100);
        ++past;
      },
      FileReadingLoopEndOfFileError);
}

// ---------------------------------------------------------------------------
// Line loops

TEST_F(FileReaderTest, CrLfIsOneEndingAndLfLfTwo) {
  EXPECT_EQ(LinesOf(Write("a", "a\r\nb"), 2048),
            (std::vector<Line>{{"a", "\r\n"}, {"b", ""}}));
  EXPECT_EQ(LinesOf(Write("b", "a\n\nb"), 2048),
            (std::vector<Line>{{"a", "\n"}, {"", "\n"}, {"b", ""}}));
  EXPECT_EQ(LinesOf(Write("c", "a\r\nb\n\rc\n\nd"), 2048),
            (std::vector<Line>{{"a", "\r\n"}, {"b", "\n\r"}, {"c", "\n"}, {"", "\n"}, {"d", ""}}));
  EXPECT_EQ(LinesOf(Write("d", "a\r\rb\r"), 2048),
            (std::vector<Line>{{"a", "\r"}, {"", "\r"}, {"b", "\r"}}));
}

TEST_F(FileReaderTest, LastLineWithoutEndingIsDeliveredAndNoEmptyLineFollowsAFinalEnding) {
  EXPECT_EQ(LinesOf(Write("a", "one\ntwo"), 2048),
            (std::vector<Line>{{"one", "\n"}, {"two", ""}}));
  EXPECT_EQ(LinesOf(Write("b", "one\ntwo\n"), 2048),
            (std::vector<Line>{{"one", "\n"}, {"two", "\n"}}));
  EXPECT_EQ(LinesOf(Write("c", "\n"), 2048), (std::vector<Line>{{"", "\n"}}));
  EXPECT_TRUE(LinesOf(Write("d", ""), 2048).empty());
  EXPECT_EQ(LinesOf(Write("e", std::string("x\0y\n", 4)), 2048),
            (std::vector<Line>{{std::string("x\0y", 3), "\n"}}));
}

TEST_F(FileReaderTest, LineOfExactlyTheBufferSizeHasItsEndingAsAnEmptyNextLine) {
  for (unsigned long size : {16ul, 2048ul}) {
    std::string line(size, 'L');
    EXPECT_EQ(LinesOf(Write("a", line + "\nnext\n"), size),
              (std::vector<Line>{{line, ""}, {"", "\n"}, {"next", "\n"}}))
        << size;
  }
}

TEST_F(FileReaderTest, LongLineIsCutIntoPiecesOfTheBufferSize) {
  std::string line;
  for (int i = 0; i < 5000; ++i) line += static_cast<char>('a' + i % 26);
  std::vector<Line> lines = LinesOf(Write("a", line), 2048);
  EXPECT_EQ(lines, (std::vector<Line>{{line.substr(0, 2048), ""},
                                      {line.substr(2048, 2048), ""},
                                      {line.substr(4096), ""}}));
}

TEST_F(FileReaderTest, LineThatStartsLaterIsMovedToTheFrontAndNeverCut) {
  std::string file = "ab\n" + std::string(2046, 'm') + "\ncd\n";
  EXPECT_EQ(LinesOf(Write("a", file), 2048),
            (std::vector<Line>{{"ab", "\n"}, {std::string(2046, 'm'), "\n"}, {"cd", "\n"}}));
  // One byte longer, the line's LF is the buffer's last byte after the
  // move: the line comes whole and the LF is dropped.
  file = "ab\n" + std::string(2047, 'm') + "\ncd\n";
  EXPECT_EQ(LinesOf(Write("c", file), 2048),
            (std::vector<Line>{{"ab", "\n"}, {std::string(2047, 'm'), ""}, {"cd", "\n"}}));
  // A moved line of the whole buffer's size comes whole, and its ending
  // then comes as an empty line.
  file = "ab\n" + std::string(2048, 'm') + "\ncd\n";
  EXPECT_EQ(LinesOf(Write("b", file), 2048),
            (std::vector<Line>{{"ab", "\n"}, {std::string(2048, 'm'), ""}, {"", "\n"}, {"cd", "\n"}}));
  // Through a small buffer no text is lost, though endings that were the
  // buffer's last byte are, and lines then run together.
  std::string text;
  size_t letters = 0;
  for (int i = 0; i < 200; ++i) {
    text += std::string(static_cast<size_t>(i % 15), 'x') + "\n";
    letters += static_cast<size_t>(i % 15);
  }
  std::vector<Line> small = LinesOf(Write("d", text), 16);
  size_t seen = 0;
  for (auto const& line : small) {
    EXPECT_EQ(line.text, std::string(line.text.size(), 'x'));
    EXPECT_LE(line.text.size(), 16u);
    seen += line.text.size();
  }
  EXPECT_EQ(seen, letters);
  EXPECT_LT(small.size(), 200u);
}

TEST_F(FileReaderTest, EndingByteAtTheBufferEndIsDroppedWhenTheLineMoves) {
  // The buffer of 8 bytes first holds "12\nabcd\r": the CR is the last valid
  // byte, the line is moved to the front without it, and the LF after it
  // ends the line alone.
  std::vector<Line> lines = LinesOf(Write("a", "12\nabcd\r\nxy\n"), 8);
  EXPECT_EQ(lines, (std::vector<Line>{{"12", "\n"}, {"abcd", "\n"}, {"xy", "\n"}}));
  // When the next block does not start with the other half, its text runs
  // on as the same line.
  EXPECT_EQ(LinesOf(Write("b", "12\nabcd\rxy\n"), 8),
            (std::vector<Line>{{"12", "\n"}, {"abcdxy", "\n"}}));
}

TEST_F(FileReaderTest, LineLoopStartsAtAnOffset) {
  EXPECT_EQ(LinesOf(Write("a", "one\ntwo\nthree"), 2048, 5),
            (std::vector<Line>{{"wo", "\n"}, {"three", ""}}));
  EXPECT_TRUE(LinesOf(Write("b", "one"), 2048, 3).empty());
  EXPECT_TRUE(LinesOf(Write("c", "one"), 2048, 300).empty());
}

TEST_F(FileReaderTest, ByteCountOfALineTakesInItsEnding) {
  std::string path = Write("a", "ab\r\ncde\nf");
  unsigned char buffer[2048];
  FileReadingPath file{FileLocation(path.c_str())};
  FileLineLoop loop(Data(buffer, sizeof buffer), file, 0);
  EXPECT_EQ(loop.ByteCount(), 4u);
  ++loop;
  EXPECT_EQ(loop.ByteCount(), 4u);
  ++loop;
  EXPECT_EQ(loop.ByteCount(), 1u);
  ++loop;
  EXPECT_TRUE(loop.Finished());
  ++loop;
  EXPECT_TRUE(loop.Finished());
}

TEST_F(FileReaderTest, FileThatShrinksWhileItIsReadEndsTheLoops) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "line " + std::to_string(i) + "\n";
  std::string path = Write("a", text);
  FileReadingPath file{FileLocation(path.c_str())};
  unsigned char buffer[256];
  FileLineLoop loop(Data(buffer, sizeof buffer), file, 0);
  ASSERT_EQ(::truncate(path.c_str(), 100), 0);
  int steps = 0;
  while (loop.Unfinished() && steps < 10000) {
    ++loop;
    ++steps;
  }
  EXPECT_TRUE(loop.Finished());
  EXPECT_LT(steps, 100);

  FileReadingLoop blocks(Data(buffer, sizeof buffer), file, 0, text.size());
  EXPECT_THROW(
      for (int i = 0; blocks.Remaining() != 0 && i < 10000; ++i) ++blocks,
      FileReadingLoopEndOfFileError);
}

// ---------------------------------------------------------------------------
// Pushed lines

struct Recorder : LineReceiver {
  std::vector<std::string> calls;
  void StartLines(unsigned long position) override {
    calls.push_back("start " + std::to_string(position));
  }
  void LineText(Range<unsigned long> text) override {
    calls.push_back("text " + std::to_string(text.begin) + "-" + std::to_string(text.end));
  }
  void LineEnding(Range<unsigned long> ending) override {
    calls.push_back("ending " + std::to_string(ending.begin) + "-" + std::to_string(ending.end));
  }
  void EndLines(unsigned long position) override {
    calls.push_back("end " + std::to_string(position));
  }
};

TEST(LineMakerTest, FindsTheSameEndingsInPushedDataWhateverTheBlocks) {
  std::string data = "a\r\nb\n\rc\n\nd";
  std::vector<std::string> expected = {"start 10",    "text 10-11",  "ending 11-13", "text 13-14",
                                       "ending 14-16", "text 16-17", "ending 17-18", "text 18-18",
                                       "ending 18-19", "text 19-20", "end 20"};
  Recorder whole;
  LineMaker maker(whole);
  maker.Start(10);
  maker.Receive(ConstData(data.data(), data.size()));
  maker.ReceiveEnd();
  EXPECT_EQ(whole.calls, expected);

  Recorder bytes;
  LineMaker byByte(bytes);
  byByte.Start(10);
  for (char const& c : data) byByte.Receive(ConstData(&c, 1));
  byByte.ReceiveEnd();
  EXPECT_EQ(bytes.calls, expected);
}

TEST(LineMakerTest, PendingEndingIsToldAtTheEnd) {
  Recorder recorder;
  LineMaker maker(recorder);
  maker.Start();
  std::string data = "xy\r";
  maker << ConstData(data.data(), data.size());
  maker.ReceiveEnd();
  EXPECT_EQ(recorder.calls,
            (std::vector<std::string>{"start 0", "text 0-2", "ending 2-3", "end 3"}));
}

// ---------------------------------------------------------------------------
// Files of 2 GiB and more

class LargeFileTest : public FileReaderTest {
 protected:
  // A sparse file of the size with the text written at each offset; false
  // when the file system refuses.
  bool MakeSparse(std::string const& path, char const* size,
                  std::vector<std::pair<unsigned long long, std::string>> const& writes) {
    if (Shell("truncate -s " + std::string(size) + " '" + path + "' 2>&1 && echo ok") != "ok\n")
      return false;
    int fd = ::open64(path.c_str(), O_WRONLY);
    if (fd < 0) return false;
    bool ok = true;
    for (auto const& [offset, text] : writes)
      ok = ok && ::pwrite64(fd, text.data(), text.size(), static_cast<off64_t>(offset)) ==
                     static_cast<ssize_t>(text.size());
    ::close(fd);
    return ok;
  }
};

constexpr unsigned long long kTwoGiB = 1ull << 31;
constexpr unsigned long long kFourGiB = 1ull << 32;

TEST_F(LargeFileTest, FilesPast4GiBAreReadIn64BitsAndRefusedIn32) {
  std::string path = folder_ + "/sparse";
  unsigned long long high = kFourGiB + 1000;
  unsigned long long middle = kTwoGiB + 77;
  if (!MakeSparse(path, "5G", {{middle, "middle\n"}, {high, "hello\r\nworld\n"}}))
    GTEST_SKIP() << "the file system here does not take a sparse file of 5 GiB";

  if (sizeof(unsigned long) == 4) {
    try {
      FileReadingPath file{FileLocation(path.c_str())};
      FAIL() << "a file of 5 GiB was opened without large-file support";
    } catch (FileIOError const& error) {
      EXPECT_EQ(typeid(error), typeid(FileIOError));  // EOVERFLOW
    }
    return;
  }

  FileReadingPath file{FileLocation(path.c_str())};
  EXPECT_EQ(std::to_string(file.Length()) + "\n", Shell("stat -c %s '" + path + "'"));

  std::string expectedHigh =
      Shell("tail -c +" + std::to_string(high + 1) + " '" + path + "' | head -c 14");
  ASSERT_EQ(expectedHigh.size(), 14u);
  FileReader reader(file, static_cast<unsigned long>(high));
  unsigned char bytes[14];
  reader >> Data(bytes, sizeof bytes);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 14), expectedHigh);
  EXPECT_EQ(reader.Position(), high + 14);
  EXPECT_TRUE(reader.Unfinished());

  reader.SetPosition(static_cast<unsigned long>(middle));
  reader >> Data(bytes, 6);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 6), "middle");

  EXPECT_EQ(LinesOf(path, 2048, static_cast<unsigned long>(high)).front(),
            (Line{"hello", "\r\n"}));
  std::vector<Line> lines = LinesOf(path, 2048, static_cast<unsigned long>(high - 10));
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[1], (Line{"world", "\n"}));

  unsigned char window[4096];
  FileReadingLoop loop(Data(window, sizeof window), file, static_cast<unsigned long>(high) - 4090,
                       static_cast<unsigned long>(high) + 5);
  std::string tail;
  for (; loop.Remaining() != 0; ++loop)
    tail.append(reinterpret_cast<char const*>(loop.Block().begin), loop.Block().Length());
  EXPECT_EQ(tail.size(), 4095u);
  EXPECT_EQ(tail.substr(4090), "hello");

  // Reading to the very end of the file, past 4 GiB.
  unsigned long end = file.Length();
  reader.SetPosition(end - 3);
  unsigned char last[8];
  EXPECT_THROW(reader >> Data(last, sizeof last), EndOfFileError);
  EXPECT_EQ(reader.Position(), end);
  EXPECT_TRUE(reader.Finished());
}

TEST_F(LargeFileTest, FileOfExactly2GiBOpensOnlyIn64Bits) {
  std::string path = folder_ + "/two";
  if (!MakeSparse(path, "2G", {{kTwoGiB - 1, "z"}}))
    GTEST_SKIP() << "the file system here does not take a sparse file of 2 GiB";
  if (sizeof(unsigned long) == 4) {
    EXPECT_THROW(FileReadingPath{FileLocation(path.c_str())}, FileIOError);
    return;
  }
  FileReadingPath file{FileLocation(path.c_str())};
  EXPECT_EQ(file.Length(), kTwoGiB);
  FileReader reader(file, static_cast<unsigned long>(kTwoGiB - 1));
  unsigned char byte = 0;
  reader >> Data(&byte, 1);
  EXPECT_EQ(byte, 'z');
  EXPECT_TRUE(reader.Finished());
}

// The lines of a loop that reads ahead into `ahead` bytes, with each line's
// ByteCount, stepping by increments, or by Advance `step` lines at a time
// when `step` is not 0. A pass's lines are known by their number alone
// ("?"); after them comes a marker ("bytes", no ending) whose count is the
// bytes the pass added, those of the lines since the last marker.
std::vector<Line> LinesReadAhead(std::string const& path, unsigned long bufferSize,
                                 unsigned long ahead, unsigned long step,
                                 std::vector<unsigned long>& counts) {
  std::vector<unsigned char> buffer(bufferSize);
  FileReadingPath file{FileLocation(path.c_str())};
  FileLineLoop loop{Data(buffer.data(), buffer.size())};
  loop.ReadAhead(ahead);
  loop.Start(file, 0);
  std::vector<Line> lines;
  while (loop.Unfinished() && lines.size() < 200000) {
    lines.push_back({MakeString(loop.Line()), MakeString(loop.Ending())});
    counts.push_back(loop.ByteCount());
    if (step == 0) {
      ++loop;
      continue;
    }
    unsigned long bytes = 0;
    unsigned long const moved = loop.Advance(step, bytes);
    // The lines moved past, the present one left for the next round; at
    // the end, every line moved to.
    unsigned long const past = moved < step ? moved : moved - 1;
    for (unsigned long k = 0; k < past; ++k) {
      lines.push_back({"?", "?"});
      counts.push_back(0);
    }
    lines.push_back({"bytes", ""});
    counts.push_back(bytes);
    if (moved < step) break;
  }
  return lines;
}

TEST_F(FileReaderTest, AWindowOverBytesReadAheadGivesTheLinesOfTheBuffer) {
  // Every ending, lines shorter and longer than the buffer, and read-ahead
  // memory from twice the buffer up: the window moves over the bytes held,
  // and what is held moves to the front, at every kind of place in a line.
  std::string text;
  survey::testing::RepeatableRandom next(12345);
  char const* const endings[] = {"\n", "\r\n", "\n\r", "\r", "\r\r", "\n\n"};
  for (int i = 0; i < 4000; ++i) {
    unsigned const length = next() % 10 == 0 ? next() % 300 : next() % 40;
    for (unsigned k = 0; k < length; ++k) text += static_cast<char>('a' + next() % 26);
    text += endings[next() % 6];
  }
  text += "last";
  std::string const path = Write("ahead", text);
  for (unsigned long size : {16UL, 64UL, 100UL, 2048UL}) {
    std::vector<Line> const plain = LinesOf(path, size);
    for (unsigned long ahead : {2 * size, 2 * size + 7, 5000UL, 65536UL}) {
      std::vector<unsigned long> counts;
      std::vector<Line> const lines = LinesReadAhead(path, size, ahead, 0, counts);
      ASSERT_EQ(plain, lines) << size << " " << ahead;
      // Passes of a few lines land where the increments land, and count
      // the bytes the lines between took.
      for (unsigned long step : {1UL, 3UL, 40UL}) {
        std::vector<unsigned long> passCounts;
        std::vector<Line> const passed = LinesReadAhead(path, size, ahead, step, passCounts);
        std::size_t at = 0;
        unsigned long sum = 0;
        for (std::size_t k = 0; k < passed.size(); ++k) {
          if (passed[k].text == "bytes" && passed[k].ending.empty()) {
            EXPECT_EQ(sum, passCounts[k]) << size << " " << ahead << " " << step << " " << k;
            sum = 0;
            continue;
          }
          ASSERT_LT(at, lines.size()) << size << " " << ahead << " " << step;
          if (passed[k].text != "?") {
            ASSERT_EQ(lines[at], passed[k]) << size << " " << ahead << " " << step << " " << at;
          }
          sum += counts[at];
          ++at;
        }
        EXPECT_EQ(lines.size(), at) << size << " " << ahead << " " << step;
      }
    }
  }
}

// PassBefore, or PassOnto (which moves onto the line at the stop too, as
// an increment would), against increments of a second loop over the same
// file: the lines it moves over are exactly those increments reach without
// a read or a move of the bytes held and that end before the stop (and, for
// PassOnto, the one line after them); it lands where
// they land, with the same text, ending, byte count, fills and moves, and
// the bytes it counts are the sum of the increments' ByteCounts. The stop
// lies anywhere in the bytes held from the present line on, mostly past the
// window, so that passes cross moves of the window over the bytes read
// ahead. Where it stops short of `most`, the next increment reads or moves
// bytes, moves the window, reaches a line that ends at or past the stop,
// ends the file, or reaches a line whose ending closes the window. While
// the moves stay the same, the bytes held from the start of a pass are
// where they were, as they were. Passes that move onto the line at their
// stop are added to `ontoStop`, and the window moves they make to
// `windowMovesPassed`.
void ExpectPassesLikeIncrements(std::string const& path, unsigned long size, unsigned long ahead,
                                survey::testing::RepeatableRandom& next,
                                unsigned long& windowMovesPassed, unsigned long& ontoStop) {
  std::vector<unsigned char> bufferA(size);
  std::vector<unsigned char> bufferB(size);
  FileReadingPath file{FileLocation(path.c_str())};
  FileLineLoop stepped{Data(bufferA.data(), bufferA.size())};
  FileLineLoop passed{Data(bufferB.data(), bufferB.size())};
  if (ahead != 0) {
    stepped.ReadAhead(ahead);
    passed.ReadAhead(ahead);
  }
  stepped.Start(file, 0);
  passed.Start(file, 0);
  unsigned long stoppedShort = 0;
  unsigned long movedInAll = 0;
  while (stepped.Unfinished()) {
    ASSERT_TRUE(passed.Unfinished());
    ASSERT_EQ(MakeString(stepped.Line()), MakeString(passed.Line()));
    ASSERT_EQ(MakeString(stepped.Ending()), MakeString(passed.Ending()));
    ASSERT_EQ(stepped.Fills(), passed.Fills());
    ASSERT_EQ(stepped.Moves(), passed.Moves());
    ASSERT_EQ(stepped.Held().Length(), passed.Held().Length());
    ASSERT_EQ(MakeString(stepped.Ahead()), MakeString(passed.Ahead()));
    // Without reading ahead, what is held is the window.
    if (ahead == 0) {
      ASSERT_EQ(passed.Held().end, passed.Ahead().end);
    }
    // The stop: anywhere in the bytes held from this line on, mostly far on.
    ConstData const held = passed.Ahead();
    std::string const heldBytes = MakeString(held);
    unsigned long const length = held.Length();
    unsigned long const k = next() % 4 == 0   ? next() % (length + 1)
                            : next() % 3 == 0 ? length - next() % (length / 8 + 1)
                                              : (next() * 32768UL + next()) % (length + 1);
    unsigned long const most = next() % 3 == 0 ? 1 + next() % 5 : 100000;
    unsigned long const fillsBefore = passed.Fills();
    unsigned long bytes = 0;
    // PassOnto moves, within `most`, onto the line after those PassBefore
    // moves over, where an increment reaches it without a read or a move
    // of bytes, and where that line ends at or past the stop.
    bool const onto = next() % 2 == 0;
    unsigned long const moved = onto ? passed.PassOnto(most, held.begin + k, bytes)
                                     : passed.PassBefore(most, held.begin + k, bytes);
    ASSERT_LE(moved, most);
    movedInAll += moved;
    windowMovesPassed += passed.Fills() - fillsBefore;
    unsigned char const* const stopA = stepped.Ahead().begin + k;
    unsigned long const moves = stepped.Moves();
    unsigned long sum = 0;
    bool reachedStop = false;
    for (unsigned long i = 0; i < moved; ++i) {
      ASSERT_FALSE(reachedStop);
      sum += stepped.ByteCount();
      ++stepped;
      ASSERT_TRUE(stepped.Unfinished());
      ASSERT_EQ(stepped.Moves(), moves);
      if (stepped.Line().end >= stopA) {
        ASSERT_TRUE(onto) << size << " " << ahead << " " << i;
        reachedStop = true;
        ++ontoStop;
      }
    }
    ASSERT_EQ(sum, bytes);
    ASSERT_EQ(MakeString(stepped.Line()), MakeString(passed.Line()));
    ASSERT_EQ(MakeString(stepped.Ending()), MakeString(passed.Ending()));
    ASSERT_EQ(stepped.ByteCount(), passed.ByteCount());
    ASSERT_EQ(stepped.Fills(), passed.Fills());
    ASSERT_EQ(stepped.Moves(), passed.Moves());
    // The bytes held have not moved: the present line starts among them,
    // and they are as they were.
    ASSERT_EQ(passed.Moves(), moves);
    ASSERT_GE(passed.Line().begin, held.begin);
    ASSERT_LE(passed.Ahead().end, held.end);
    ASSERT_EQ(heldBytes, MakeString(held));
    // Both move on by one increment.
    unsigned long const fills = stepped.Fills();
    unsigned char const* const windowEnd = stepped.Held().end;
    ++stepped;
    ++passed;
    if (moved < most && !reachedStop) {
      ++stoppedShort;
      bool const allowed = stepped.Finished() || stepped.Moves() != moves ||
                           stepped.Fills() != fills || (!onto && stepped.Line().end >= stopA) ||
                           stepped.Ending().end == windowEnd;
      ASSERT_TRUE(allowed) << size << " " << ahead << " " << k << " " << moved;
    }
  }
  EXPECT_TRUE(passed.Finished());
  // The passes did move, and did stop.
  EXPECT_GT(movedInAll, 0u);
  EXPECT_GT(stoppedShort, 0u);
}

TEST_F(FileReaderTest, PassingBeforeAStopLandsWhereIncrementsLand) {
  std::string text;
  survey::testing::RepeatableRandom next(2024);
  char const* const endings[] = {"\n", "\r\n", "\n\r", "\r", "\r\r", "\n\n"};
  // Stretches of LF lines alone (the search for LF without CR) between
  // stretches of every ending, lines short and long, some past 2048 bytes.
  for (int i = 0; i < 6000; ++i) {
    bool const lineFeeds = (i / 500) % 2 == 0;
    unsigned const length = next() % 200 == 0  ? 2000 + next() % 300
                            : next() % 10 == 0 ? next() % 300
                                               : next() % 40;
    for (unsigned k = 0; k < length; ++k) text += static_cast<char>('a' + next() % 26);
    text += lineFeeds ? "\n" : endings[next() % 6];
  }
  text += "last";
  std::string const path = Write("passing", text);
  // Passes that moved onto the line at their stop.
  unsigned long ontoStop = 0;
  for (unsigned long size : {16UL, 100UL, 2048UL}) {
    for (unsigned long ahead : {0UL, 2 * size + 7, 65536UL}) {
      unsigned long windowMoves = 0;
      ExpectPassesLikeIncrements(path, size, ahead, next, windowMoves, ontoStop);
      // Read ahead far enough, passes in the loop of blocks (which the
      // 32-bit build, without SSE2, goes without) move the window on over
      // the bytes read.
#if defined(__SSE2__)
      if (ahead == 65536) {
        EXPECT_GT(windowMoves, 0u) << size << " " << ahead;
      }
#endif
    }
  }
  EXPECT_GT(ontoStop, 0u);
}

// While Moves() stays the same, the bytes held from a line on stay where
// they were, as they were, through every increment: the window moves on
// over them, and each line's text and ending lie among them. A line that
// ends on the window's last byte, whose ending is dropped and whose text
// moves, and a line longer than the window come in the text often.
TEST_F(FileReaderTest, HeldBytesStayWhileTheMovesStay) {
  std::string text;
  survey::testing::RepeatableRandom next(77);
  char const* const endings[] = {"\n", "\r\n", "\n\r", "\r"};
  for (int i = 0; i < 8000; ++i) {
    unsigned const length = next() % 100 == 0 ? 2000 + next() % 2200 : next() % 70;
    for (unsigned k = 0; k < length; ++k) text += static_cast<char>('a' + next() % 26);
    text += (i / 1000) % 2 == 0 ? "\n" : endings[next() % 4];
  }
  std::string const path = Write("held", text);
  for (unsigned long size : {16UL, 100UL, 2048UL}) {
    for (unsigned long ahead : {0UL, 2 * size + 7, 65536UL}) {
      std::vector<unsigned char> buffer(size);
      FileReadingPath file{FileLocation(path.c_str())};
      FileLineLoop loop{Data(buffer.data(), buffer.size())};
      if (ahead != 0) loop.ReadAhead(ahead);
      loop.Start(file, 0);
      unsigned long moves = loop.Moves();
      ConstData held = loop.Ahead();
      std::string bytes = MakeString(held);
      unsigned long kept = 0;
      unsigned long changed = 0;
      while (loop.Unfinished()) {
        ++loop;
        if (loop.Moves() != moves) {
          ++changed;
          moves = loop.Moves();
          held = loop.Ahead();
          bytes = MakeString(held);
          continue;
        }
        ++kept;
        ASSERT_EQ(bytes, MakeString(held)) << size << " " << ahead;
        ASSERT_GE(loop.Line().begin, held.begin) << size << " " << ahead;
        ASSERT_LE(loop.Ending().end, held.end) << size << " " << ahead;
        ASSERT_EQ(loop.Ahead().end, held.end) << size << " " << ahead;
      }
      EXPECT_GT(kept, 0u) << size << " " << ahead;
      EXPECT_GT(changed, 0u) << size << " " << ahead;
    }
  }
}

}  // namespace
