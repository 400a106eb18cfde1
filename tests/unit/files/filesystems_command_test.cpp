// File systems and mounts through the survey command, as a query author
// asks. The mounts are made by the test in a mount namespace of its own: a
// tmpfs, a bind mount of a folder of it, a tmpfs whose source names a host
// and a path, and a mount hidden under a later one; the same namespace
// gives the reference answers from
// /proc/self/mounts, Python's os.statvfs and os.stat, and df.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Answer;
using survey::files::testing::Ask;
using survey::files::testing::ErrorOf;
using survey::files::testing::One;
using survey::files::testing::Output;
using survey::files::testing::QueryString;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;
using survey::files::testing::Split;
using survey::files::testing::Tool;

std::string Contents(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The reference answers, written inside the namespace by Python over its
// own mount table: the mount points that a walk of the table gives (up to
// the first fixed mount that statvfs cannot measure), their kinds, the
// figures of the tmpfs, and the first mount of the device of a path.
constexpr char kReference[] = R"PY(
import os, sys
root = sys.argv[1]
remote = {"nfs"}
cdrom = {"hsfs", "cdfs", "cdrfs", "subfs"}
removable = {"pcsf", "fd", "msdos", "usbfs", "usbdevfs"}
names, kinds = [], []
for line in open("/proc/self/mounts"):
    fields = line.split(" ")
    device, point, word = fields[0], fields[1], fields[2]
    if ":" in device or word in remote:
        kind = "DRIVE_REMOTE"
    elif word in cdrom:
        kind = "DRIVE_CDROM"
    elif word in removable:
        kind = "DRIVE_REMOVABLE"
    else:
        kind = "DRIVE_FIXED"
        try:
            os.statvfs(point)
        except OSError:
            break
    names.append(point)
    kinds.append(kind)
open(root + "/names.txt", "w").write("\n".join(names) + "\n")
open(root + "/kinds.txt", "w").write("\n".join(kinds) + "\n")
s = os.statvfs(root + "/tmp")
figures = [s.f_bsize * s.f_blocks, s.f_bsize * s.f_bfree, s.f_bsize * (s.f_blocks - s.f_bfree),
           s.f_bfree * 100 // s.f_blocks, (s.f_blocks - s.f_bfree) * 100 // s.f_blocks,
           s.f_files, s.f_ffree, s.f_files - s.f_ffree]
open(root + "/figures.txt", "w").write(", ".join(str(f) for f in figures) + "\n")
device = os.stat(root + "/bound").st_dev
for point in names:
    try:
        if os.stat(point).st_dev == device:
            open(root + "/owner.txt", "w").write(point + "\n")
            break
    except OSError:
        pass
)PY";

class FilesystemsCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    int status = 0;
    Output("unshare -m --propagation private true 2>/dev/null", &status);
    if (status != 0) GTEST_SKIP() << "cannot make a mount namespace here (unshare -m needs root)";
    for (char const* name : {"tmp", "bound", "remote", "hidden"}) tree.Folder(name);
    tree.File("reference.py", kReference);
    std::string const root = ShellQuoted(tree.Path());
    tree.File("setup.sh",
              "set -e\n"
              "D=" + root + "\n"
              "mount -t tmpfs -o size=4m,nr_inodes=1000 survey-test \"$D/tmp\"\n"
              "mkdir \"$D/tmp/sub\"\n"
              "printf data > \"$D/tmp/sub/file\"\n"
              "head -c 100000 /dev/zero > \"$D/tmp/fill\"\n"
              "ln -s / \"$D/tmp/link\"\n"
              "mount --bind \"$D/tmp/sub\" \"$D/bound\"\n"
              "mount -t tmpfs -o size=1m server:/export \"$D/remote\"\n"
              // A mount hidden under a later one: its mount point can no
              // longer be reached, and the walk of the table ends there.
              "mount -t tmpfs -o size=1m survey-test \"$D/hidden\"\n"
              "mkdir \"$D/hidden/under\"\n"
              "mount -t tmpfs -o size=1m survey-test \"$D/hidden/under\"\n"
              "mount -t tmpfs -o size=1m survey-test \"$D/hidden\"\n"
              "grep -c . /proc/self/mounts > \"$D/count.txt\"\n"
              "python3 \"$D/reference.py\" \"$D\"\n"
              "df -B1 --output=size,used,itotal,iused \"$D/tmp\" | tail -n 1 > \"$D/df.txt\"\n"
              "exec \"$@\"\n");
    inside = "unshare -m --propagation private sh " + ShellQuoted(tree / "setup.sh") + " ";
  }

  // The query's answer from inside a fresh namespace; the reference files
  // are then those of the same namespace.
  Answer Inside(std::string const& query) { return Ask(query, "/", false, inside); }
  std::vector<std::string> Reference(std::string const& name) {
    return Split(Contents(tree / name), '\n');
  }
  std::string Q(std::string const& name) { return QueryString(tree / name); }

  ScratchTree tree;
  std::string inside;
};

TEST_F(FilesystemsCommandTest, TheMountsAreThoseOfTheTableInItsOrder) {
  Answer const names = Inside("names of filesystems");
  EXPECT_EQ("", names.error);
  EXPECT_EQ(Reference("names.txt"), names.values);
  EXPECT_NE(names.values.end(),
            std::find(names.values.begin(), names.values.end(), tree / "bound"));
  Answer const kinds = Inside("types of filesystems");
  EXPECT_EQ(Reference("kinds.txt"), kinds.values);
  EXPECT_EQ(Reference("names.txt"), Inside("names of drives").values);
  // The walk ends at the hidden mount, before the end of the table.
  ASSERT_FALSE(names.values.empty());
  EXPECT_EQ(tree / "hidden", names.values.back());
  EXPECT_LT(names.values.size(), std::stoul(Reference("count.txt").at(0)));
}

TEST_F(FilesystemsCommandTest, TheFiguresOfATmpfsAgreeWithStatvfsAndDf) {
  std::string const figures =
      "(size of it, free space of it, used space of it, free percent of it, used percent of it,"
      " file count of it, free file count of it, used file count of it) of ";
  Answer const listed =
      Inside(figures + "filesystems whose (name of it = " + Q("tmp") + ")");
  EXPECT_EQ("", listed.error);
  EXPECT_EQ(Reference("figures.txt"), listed.values);
  EXPECT_EQ(Reference("figures.txt"), Inside(figures + "filesystem " + Q("tmp")).values);
  EXPECT_EQ(Reference("figures.txt"), Inside(figures + "drive " + Q("tmp/sub")).values);
  Answer const total = Inside("(total space of it, used space of it, file count of it, "
                              "used file count of it) of filesystem of file " +
                              Q("tmp/sub/file"));
  std::vector<std::string> fields;
  for (std::string const& field : Split(Contents(tree / "df.txt"), ' ')) {
    if (!field.empty()) fields.push_back(field.back() == '\n' ? field.substr(0, field.size() - 1)
                                                              : field);
  }
  ASSERT_EQ(4u, fields.size());
  EXPECT_EQ((std::vector<std::string>{fields[0] + ", " + fields[1] + ", " + fields[2] + ", " +
                                      fields[3]}),
            total.values);
}

TEST_F(FilesystemsCommandTest, AValueFromAPathIsOfNoKindAndNamedByItsDevice) {
  EXPECT_EQ((std::vector<std::string>{"DRIVE_UNKNOWN"}),
            Inside("type of filesystem of folder " + Q("tmp")).values);
  // The bind mount's device is the tmpfs's, whose own mount comes first.
  Answer const owner = Inside("name of filesystem of folder " + Q("bound"));
  EXPECT_EQ(Reference("owner.txt"), owner.values);
  EXPECT_EQ((std::vector<std::string>{tree / "tmp"}), owner.values);
  EXPECT_EQ((std::vector<std::string>{tree / "tmp"}),
            Inside("name of filesystem " + Q("tmp/sub/file")).values);
}

TEST_F(FilesystemsCommandTest, ALinkReportsTheFilesystemThatHoldsIt) {
  // The link lies on the tmpfs and points to "/".
  Answer const held = Inside("name of filesystem of symlink " + Q("tmp/link"));
  EXPECT_EQ((std::vector<std::string>{tree / "tmp"}), held.values);
  Answer const size = Inside("size of filesystem of symlink " + Q("tmp/link"));
  ASSERT_EQ(1u, size.values.size());
  EXPECT_EQ(Reference("figures.txt").at(0).substr(0, Reference("figures.txt").at(0).find(',')),
            size.values[0]);
}

TEST_F(FilesystemsCommandTest, FreeAndUsedPercentNeedNotMakeAHundred) {
  // Each is rounded down on its own: 100000 bytes of 4 MiB leave 97 % free
  // and 2 % used.
  Answer const sum = Inside("(free percent of it + used percent of it) of filesystem " + Q("tmp"));
  std::vector<std::string> const figures = Split(Reference("figures.txt").at(0), ',');
  ASSERT_EQ(8u, figures.size());
  EXPECT_EQ((std::vector<std::string>{
                std::to_string(std::stoll(figures[3]) + std::stoll(figures[4]))}),
            sum.values);
  EXPECT_EQ((std::vector<std::string>{"99"}), sum.values);
}

TEST_F(FilesystemsCommandTest, ARemoteMountHasANameAndAKindAndNothingElse) {
  std::string const remote = "filesystems whose (name of it = " + Q("remote") + ")";
  EXPECT_EQ((std::vector<std::string>{"DRIVE_REMOTE"}), Inside("types of " + remote).values);
  Answer const free = Inside("free spaces of " + remote);
  EXPECT_EQ("", free.error);
  EXPECT_TRUE(free.values.empty());
  EXPECT_EQ("no value", Inside("free space of " + remote).error);
  EXPECT_EQ("no value", Inside("size of " + remote).error);
  // Made from its path, the same mount is measured.
  EXPECT_EQ((std::vector<std::string>{"DRIVE_UNKNOWN"}),
            Inside("type of filesystem " + Q("remote")).values);
  EXPECT_EQ(1u, Inside("size of filesystem " + Q("remote")).values.size());
}

TEST(FilesystemsOfTheMachineTest, PathsThatStatfsRefusesHaveNoFilesystem) {
  EXPECT_EQ("no value", ErrorOf("filesystem \"/nonexistent\""));
  EXPECT_EQ("no value", ErrorOf("filesystem \"\""));
  EXPECT_EQ("no value", ErrorOf("drive \"/nonexistent/x\""));
}

TEST(FilesystemsOfTheMachineTest, TheRootFolderIsOfNoKindAndItsTotalsAgreeWithStatvfs) {
  EXPECT_EQ("DRIVE_UNKNOWN", One("type of filesystem of folder \"/\""));
  EXPECT_EQ(Tool("python3 -c 'import os; s = os.statvfs(\"/\"); print(s.f_bsize * s.f_blocks)'"),
            One("size of filesystem \"/\""));
  EXPECT_EQ(Tool("python3 -c 'import os; print(os.statvfs(\"/\").f_files)'"),
            One("file count of filesystem of folder \"/\""));
}

}  // namespace
