/* The host's own copy of SQLite: the machine's static library, linked
   whole into a shared library of its own with its inner calls bound at link
   time (host/CMakeLists.txt). This file only gives the library a source of
   its own; everything in it comes from the archive. */
extern const char survey_sqlite_copy[];
const char survey_sqlite_copy[] = "the host's copy of SQLite";
