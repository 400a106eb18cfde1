// The errors of file access. None carries text: the class is the message.
//
// The file error family derives from `FileIOError`; code that steps over
// unreadable items catches that class alone. The errors of loops and of the
// newer item class stand apart from the family on purpose, so that such a
// catch does not swallow them.
#pragma once

#include "survey/frame/boundary.h"

// Something went wrong reading or looking at a file.
class FileIOError : public DebuggableException {};

// A look at a path (a stat) failed.
class FileItemError : public FileIOError {};
// The caller may not read or change the file.
class FilePermissionError : public FileIOError {};
// A position could not be set.
class FileSeekError : public FileIOError {};
// A read for a fixed number of bytes came up short.
class EndOfFileError : public FileIOError {};
// The file is locked by someone else.
class FileLockError : public FileIOError {};
// The process is out of descriptors or memory.
class FileResourceError : public FileIOError {};
// No such file.
class FileNotFoundError : public FileIOError {};
// A folder on the way does not exist or the path is too long.
class DirectoryNotFoundError : public FileIOError {};
// An operation needs an open file and there is none.
class FileNotOpenError : public FileIOError {};

// A reading loop was stepped past the end of its range.
class FileReadingLoopEndOfFileError : public DebuggableException {};
