// Walks of the folder tree: up from any filesystem object through its
// ancestors, and down from a folder through every file or every folder
// below it.
#pragma once

#include <deque>

#include "survey/files/filesystem_object.h"
#include "survey/files/folder_listing.h"
#include "survey/foundation/file_loop.h"
#include "survey/foundation/sharing.h"

// A loop started on a folder, shared by the handles that hold it.
SURVEY_API SharingPtr<FileLoop> MakeFileLoop(FileLocation const& folder);

// "ancestors": the parent folder, its parent and so on up to the root,
// which comes last. The walk is on the path text and does not resolve links;
// it ends at the root or at a parent that cannot be looked at. A relative
// path never reaches a root ("." and ".." are each other's parents), so its
// walk ends only when the evaluator stops it.
class SURVEY_API ancestor_iterator {
 public:
  folder First(Of, filesystem_object const& object);
  folder Next(Of, filesystem_object const& object);

 private:
  // The last ancestor given out.
  FileLocation last_;
};

// "descendants" and "descendant folders": a depth-first walk, each level in
// `alphasort` order, a folder's content at the place of its name, the
// starting folder never given out. Items are classified as `stat` sees
// them, so links to folders are walked as folders. A folder that is already
// open on the walk's own stack (the same device and inode as the starting
// folder or one of the folders on the way down to the item) is not entered
// and not given out: a link to an ancestor would otherwise lead round and
// round until the growing path could no longer be looked at. Any other
// folder reached twice, through a link to a sibling say, is walked each
// time. Unreadable folders are empty; an item that vanishes on the way is
// passed over.
class SURVEY_API descendant_iterator {
 public:
  // Every regular file below the folder.
  file First(Of, folder const& start);
  file Next(Of, folder const& start);
  // Every folder below the folder, each before its own content.
  folder FirstFolder(Of, folder const& start);
  folder NextFolder(Of, folder const& start);

 private:
  // One level of the walk: the listing of a folder and which folder it is.
  struct Level {
    SharingPtr<FolderListing> listing;
    dev_t device;
    ino_t inode;
    // The listing's item has had its turn (given out, entered or passed
    // over): the listing moves on at the start of the next step, so that the
    // next item is looked at when its turn comes, not before.
    bool done;
    // The step in which the listing last looked at its item. An item looked
    // at in an earlier step is looked at again before it is given out, so
    // that one that has vanished since is passed over.
    unsigned long long lookedIn;
  };

  // Empties the stack and puts the starting folder's listing on it.
  void Restart(folder const& start);
  // The deepest level whose listing is on an item, after moving on the
  // listings whose item has had its turn; finished ones are dropped on the
  // way.
  // NoSuchObject when none is left: the walk is over.
  Level& PresentLevel();
  // Whether the folder that a look found is one of the levels on the stack.
  bool OnTheStack(struct stat const& status) const;
  // Opens the folder of the present item as the new deepest level.
  void GoDown(FolderListing const& listing);
  // The next file, or the next folder, from where the walk stands.
  file NextFile(folder const& start);
  folder NextFolderFrom(folder const& start);

  // One listing per level of the walk, the deepest at the back. Every
  // level stays until the walk comes back up out of it, so the stack always
  // holds the folders from the start down to the present item.
  std::deque<Level> levels_;
  // The number of steps taken (calls of First, Next and the folder forms).
  unsigned long long step_ = 0;
};
