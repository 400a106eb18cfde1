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
  loops_.clear();
  loops_.push_back(MakeFileLoop(start.Path()));
}

FileLoop& descendant_iterator::PresentLoop() {
  for (;;) {
    if (loops_.empty()) throw NoSuchObject();
    FileLoop& loop = *loops_.back();
    if (loop.Finished()) {
      loops_.pop_back();
    } else if (IsDotOrDotDot(loop.Location().Name())) {
      // The loop withholds these already; the walk makes sure.
      ++loop;
    } else {
      return loop;
    }
  }
}

file descendant_iterator::First(Of, folder const& start) {
  Restart(start);
  return Next(Of(0), start);
}

file descendant_iterator::Next(Of, folder const& start) {
  for (;;) {
    FileLoop& loop = PresentLoop();
    FileItem const& item = loop.Item();
    if (item.IsDirectory()) {
      // The new level goes to the back, so the walk goes down at once. The
      // loop is held by pointer, so it stays where it is as the deque grows.
      loops_.push_back(MakeFileLoop(loop.Location()));
      ++loop;
    } else if (!item.IsFile()) {
      // A device, a pipe or a socket.
      ++loop;
    } else {
      try {
        file found(loop.Location(), start.Flag());
        ++loop;
        return found;
      } catch (NoSuchObject const&) {
        // It vanished between the listing and now.
        ++loop;
      }
    }
  }
}

folder descendant_iterator::FirstFolder(Of, folder const& start) {
  Restart(start);
  return NextFolder(Of(0), start);
}

folder descendant_iterator::NextFolder(Of, folder const& start) {
  for (;;) {
    FileLoop& loop = PresentLoop();
    if (!loop.Item().IsDirectory()) {
      ++loop;
      continue;
    }
    try {
      // Given out before its own content.
      folder found(loop.Location(), start.Flag());
      loops_.push_back(MakeFileLoop(loop.Location()));
      ++loop;
      return found;
    } catch (NoSuchObject const&) {
      ++loop;
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
