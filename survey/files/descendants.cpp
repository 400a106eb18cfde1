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

// The location of a listing's present item.
FileLocation ItemLocation(FolderListing const& listing) {
  FileLocation location;
  location.SetFullPathName(listing.Path());
  return location;
}

}  // namespace

void descendant_iterator::Restart(folder const& start) {
  levels_.clear();
  levels_.push_back(Level{SharingPtr<FolderListing>(new FolderListing(start.Path().FullPathName())),
                          start.status.st_dev, start.status.st_ino, false, step_});
}

descendant_iterator::Level& descendant_iterator::PresentLevel() {
  for (;;) {
    if (levels_.empty()) throw NoSuchObject();
    Level& level = levels_.back();
    FolderListing& listing = *level.listing;
    if (level.done) {
      level.done = false;
      listing.Advance();
      level.lookedIn = step_;
    }
    if (listing.Finished()) {
      levels_.pop_back();
    } else if (IsDotOrDotDot(listing.Name())) {
      // The listing withholds these already; the walk makes sure.
      listing.Advance();
      level.lookedIn = step_;
    } else {
      return level;
    }
  }
}

bool descendant_iterator::OnTheStack(struct stat const& status) const {
  dev_t const device = status.st_dev;
  ino_t const inode = status.st_ino;
  // From the deepest level up: a link to the folder itself or to its parent
  // is the common case.
  for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
    if (level->inode == inode && level->device == device) return true;
  }
  return false;
}

void descendant_iterator::GoDown(FolderListing const& listing) {
  struct stat const& status = listing.Status();
  // The new level goes to the back, so the walk goes down at once. The
  // listings are held by pointer, so they stay where they are as the deque
  // grows.
  levels_.push_back(Level{SharingPtr<FolderListing>(new FolderListing(listing.Path())),
                          status.st_dev, status.st_ino, false, step_});
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
    FolderListing& listing = *level.listing;
    // Whatever this item is, the listing moves on from it at the next step.
    level.done = true;
    if (listing.IsDirectory()) {
      // A folder already open above is passed over.
      if (!OnTheStack(listing.Status())) GoDown(listing);
    } else if (!listing.IsFile()) {
      // A device, a pipe or a socket.
    } else if (level.lookedIn == step_) {
      // The listing has just looked at it: that look is the item's `stat`.
      return file(ItemLocation(listing), start.Flag(), listing.Status());
    } else {
      try {
        return file(ItemLocation(listing), start.Flag());
      } catch (NoSuchObject const&) {
        // It vanished between the listing's look and now.
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
    FolderListing& listing = *level.listing;
    level.done = true;
    if (!listing.IsDirectory() || OnTheStack(listing.Status())) continue;
    // Given out before its own content; a folder looked at in an earlier
    // step (the first of a listing opened then) is looked at again.
    if (level.lookedIn == step_) {
      folder found(ItemLocation(listing), start.Flag(), listing.Status());
      GoDown(listing);
      return found;
    }
    try {
      folder found(ItemLocation(listing), start.Flag());
      GoDown(listing);
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
