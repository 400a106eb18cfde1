#include "survey/files/descendants.h"

#include "survey/frame/table.h"

SharingPtr<FileLoop> MakeFileLoop(FileLocation const& folder) {
  return SharingPtr<FileLoop>(new FileLoop(folder));
}

// ---------------------------------------------------------------------------
// Ancestors.

folder ancestor_iterator::First(Of, filesystem_object const& object) {
  folder parent = ParentFolder(Of(0), object);
  last_ = parent.Path();
  return parent;
}

folder ancestor_iterator::Next(Of, filesystem_object const& object) {
  filesystem_object const current(last_, object.Flag());
  folder parent = ParentFolder(Of(0), current);
  last_ = parent.Path();
  return parent;
}

// ---------------------------------------------------------------------------
// Descendants.

namespace {

bool IsDotOrDotDot(char const* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

void descendant_iterator::Restart(folder const& start) {
  levels_.clear();
  levels_.push_back(
      Level{MakeFileLoop(start.Path()), start.status.st_dev, start.status.st_ino, false, step_});
}

descendant_iterator::Level& descendant_iterator::PresentLevel() {
  for (;;) {
    if (levels_.empty()) throw NoSuchObject();
    Level& level = levels_.back();
    FileLoop& loop = *level.loop;
    if (level.done) {
      level.done = false;
      ++loop;
      level.lookedIn = step_;
    }
    if (loop.Finished()) {
      levels_.pop_back();
    } else if (IsDotOrDotDot(loop.Location().Name())) {
      // The loop withholds these already; the walk makes sure.
      ++loop;
      level.lookedIn = step_;
    } else {
      return level;
    }
  }
}

bool descendant_iterator::OnTheStack(FileItem const& item) const {
  dev_t const device = item.Device();
  ino_t const inode = item.Inode();
  // From the deepest level up: a link to the folder itself or to its parent
  // is the common case.
  for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
    if (level->inode == inode && level->device == device) return true;
  }
  return false;
}

void descendant_iterator::GoDown(FileLoop const& loop) {
  FileItem const& item = loop.Item();
  // The new level goes to the back, so the walk goes down at once. The loops
  // are held by pointer, so they stay where they are as the deque grows.
  levels_.push_back(
      Level{MakeFileLoop(loop.Location()), item.Device(), item.Inode(), false, step_});
}

file descendant_iterator::First(Of, folder const& start) {
  ++step_;
  Restart(start);
  return NextFile(start);
}

file descendant_iterator::Next(Of, folder const& start) {
  ++step_;
  return NextFile(start);
}

file descendant_iterator::NextFile(folder const& start) {
  for (;;) {
    Level& level = PresentLevel();
    FileLoop& loop = *level.loop;
    FileItem const& item = loop.Item();
    // Whatever this item is, the loop moves on from it at the next step.
    level.done = true;
    if (item.IsDirectory()) {
      // A folder already open above is passed over.
      if (!OnTheStack(item)) GoDown(loop);
    } else if (!item.IsFile()) {
      // A device, a pipe or a socket.
    } else if (level.lookedIn == step_) {
      // The loop has just looked at it: that look is the item's `stat`.
      return file(loop.Location(), start.Flag(), item.Status());
    } else {
      try {
        return file(loop.Location(), start.Flag());
      } catch (NoSuchObject const&) {
        // It vanished between the loop's look and now.
      }
    }
  }
}

folder descendant_iterator::FirstFolder(Of, folder const& start) {
  ++step_;
  Restart(start);
  return NextFolderFrom(start);
}

folder descendant_iterator::NextFolder(Of, folder const& start) {
  ++step_;
  return NextFolderFrom(start);
}

folder descendant_iterator::NextFolderFrom(folder const& start) {
  for (;;) {
    Level& level = PresentLevel();
    FileLoop& loop = *level.loop;
    FileItem const& item = loop.Item();
    level.done = true;
    if (!item.IsDirectory() || OnTheStack(item)) continue;
    // Given out before its own content; a folder looked at in an earlier
    // step (the first of a listing opened then) is looked at again.
    if (level.lookedIn == step_) {
      folder found(loop.Location(), start.Flag(), item.Status());
      GoDown(loop);
      return found;
    }
    try {
      folder found(loop.Location(), start.Flag());
      GoDown(loop);
      return found;
    } catch (NoSuchObject const&) {
    }
  }
}

// ---------------------------------------------------------------------------
// Registration, in table order. No row has a dependency.

namespace {

RegistrationTable table{
    IteratedRow("ancestor", "ancestors", &ancestor_iterator::First, &ancestor_iterator::Next),
    IteratedRow("descendant", "descendants", &descendant_iterator::First,
                &descendant_iterator::Next),
    IteratedRow("descendant folder", "descendant folders", &descendant_iterator::FirstFolder,
                &descendant_iterator::NextFolder),
};

}  // namespace
