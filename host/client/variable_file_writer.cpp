#include "host/client/variable_file_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace survey::client {

namespace {

void AppendNumber(std::string& out, std::uint32_t number) {
  char bytes[sizeof number];
  std::memcpy(bytes, &number, sizeof number);
  out.append(bytes, sizeof bytes);
}

// "[" length "]" text NUL, the length counting the NUL.
void AppendBracketed(std::string& out, char const* text) {
  std::size_t const length = std::strlen(text) + 1;
  out += '[';
  AppendNumber(out, static_cast<std::uint32_t>(length));
  out += ']';
  out.append(text, length);
}

std::string Reason(std::string const& path, char const* doing, int error) {
  return "cannot write the variable file " + path + ": " + doing + ": " + std::strerror(error);
}

// The folder of a path: "." for a bare name, "/" for a name in the root.
std::string FolderOf(std::string const& path) {
  std::string::size_type const slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Writes all of `bytes`, going on after short writes and interruptions.
bool WriteAll(int descriptor, std::string const& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t const written = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<std::size_t>(written);
  }
  return true;
}

// An open temporary file, closed and removed unless it is kept.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!kept_) ::unlink(path_.c_str());
  }

  // Makes the file from the template path; false with errno set on failure.
  bool Create() {
    descriptor_ = ::mkostemp(path_.data(), O_CLOEXEC);
    if (descriptor_ < 0) kept_ = true;  // nothing was made
    return descriptor_ >= 0;
  }
  int Descriptor() const { return descriptor_; }
  std::string const& Path() const { return path_; }
  bool Close() {
    int const descriptor = descriptor_;
    descriptor_ = -1;
    return ::close(descriptor) == 0;
  }
  void Keep() { kept_ = true; }

 private:
  std::string path_;
  int descriptor_ = -1;
  bool kept_ = false;
};

}  // namespace

std::string EncodeVariableFile(std::vector<Variable> const& variables) {
  std::string block;
  for (Variable const& variable : variables) {
    if (variable.name.empty()) throw VariableFileError("a variable has an empty name");
    if (variable.name.find('\0') != std::string::npos)
      throw VariableFileError("the name of a variable holds a NUL byte");
    if (variable.value.find('\0') != std::string::npos)
      throw VariableFileError("the value of variable " + variable.name + " holds a NUL byte");
    block += variable.name;
    block += '\0';
    block += variable.value;
    block += '\0';
  }
  constexpr std::size_t kLargest = std::numeric_limits<std::uint32_t>::max();
  if (block.size() > kLargest || variables.size() > kLargest)
    throw VariableFileError("the variables do not fit in a variable file");

  std::string file;
  AppendBracketed(file, kVariableFileBanner);
  AppendBracketed(file, kVariableFileVersion);
  AppendNumber(file, static_cast<std::uint32_t>(block.size()));
  AppendNumber(file, static_cast<std::uint32_t>(variables.size()));
  file += block;
  return file;
}

void WriteVariableFile(std::string const& path, std::vector<Variable> const& variables) {
  if (path.empty() || path.back() == '/')
    throw VariableFileError("cannot write a variable file to \"" + path + "\": not a file name");
  std::string const bytes = EncodeVariableFile(variables);
  std::string const folder = FolderOf(path);
  std::string const name =
      path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);

  TemporaryFile temporary(folder + "/." + name + ".XXXXXX");
  if (!temporary.Create())
    throw VariableFileError(Reason(path, "creating a temporary file", errno));
  if (!WriteAll(temporary.Descriptor(), bytes))
    throw VariableFileError(Reason(path, "writing", errno));
  if (::fchmod(temporary.Descriptor(), 0600) != 0)
    throw VariableFileError(Reason(path, "setting its mode", errno));
  if (::fsync(temporary.Descriptor()) != 0)
    throw VariableFileError(Reason(path, "flushing", errno));
  if (!temporary.Close()) throw VariableFileError(Reason(path, "closing", errno));
  if (::rename(temporary.Path().c_str(), path.c_str()) != 0)
    throw VariableFileError(Reason(path, "renaming the temporary file", errno));
  temporary.Keep();

  // The rename is durable once the folder is flushed too.
  int const directory = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) throw VariableFileError(Reason(path, "opening its folder", errno));
  int const flushed = ::fsync(directory);
  int const error = errno;
  ::close(directory);
  if (flushed != 0) throw VariableFileError(Reason(path, "flushing its folder", error));
}

}  // namespace survey::client
