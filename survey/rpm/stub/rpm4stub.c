/* The stub through which the library binds the machine's librpm.
 *
 * Its dependencies are the three links that the library makes in its
 * storage folder ("libkxrpm.so", "libkxrpmio.so", "libkxrpmdb.so"), so that
 * a lookup on the stub's handle reaches the functions of whatever librpm the
 * machine has. They are recorded as "./libkxrpm.so" and so on, paths relative
 * to the working folder (the library opens the stub with the storage folder
 * as the working folder).
 *
 * The library binds, by name, functions that today's librpm no longer
 * exports: rpmdbOpen, rpmdbClose, headerGetRawEntry and
 * rpmCheckRpmlibProvides. They are defined here over the interface that
 * librpm does export (transaction sets, headerGet, rpmdsRpmlib), with the
 * calling convention and the results of the older calls. A librpm that
 * still exports one of them keeps its own: each definition hands the call
 * on to it when there is one.
 *
 * Nothing of the surveyors' logic is here. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <rpm/header.h>
#include <rpm/rpmdb.h>
#include <rpm/rpmds.h>
#include <rpm/rpmfileutil.h>
#include <rpm/rpmmacro.h>
#include <rpm/rpmtd.h>
#include <rpm/rpmts.h>

#define STUB_API __attribute__((visibility("default")))

/* The function of that name in the objects loaded after the stub: librpm's
 * own, or null when librpm does not export it. The lookup is made once per
 * name and kept in `slot`: what librpm exports does not change while the
 * stub is loaded, and a lookup costs more than a header read (it is asked
 * for every field of every package). */
struct OwnSlot {
  int looked;
  void* function;
};
static void* Own(struct OwnSlot* slot, char const* name) {
  if (!slot->looked) {
    slot->function = dlsym(RTLD_NEXT, name);
    slot->looked = 1;
  }
  return slot->function;
}

/* ---------------------------------------------------------------------------
 * Opening and closing a database.
 *
 * A database is opened through a transaction set of its own, which is kept
 * beside the database handle until the database is closed. */

struct OpenDatabase {
  rpmdb database;
  rpmts set;
  struct OpenDatabase* next;
};
static struct OpenDatabase* openDatabases = NULL;

static int Exists(char const* path, int wantFolder) {
  struct stat status;
  if (stat(path, &status) != 0) return 0;
  return wantFolder ? S_ISDIR(status.st_mode) : S_ISREG(status.st_mode);
}

/* Whether a database of the configured kind exists in the folder. Opening
 * one that does not exist would create it, which a reader never does. */
static int HoldsDatabase(char const* folder) {
  static char const* const files[] = {"rpmdb.sqlite", "Packages.db", "Packages"};
  char* backend = rpmExpand("%{?_db_backend}", NULL);
  char const* wanted = NULL;
  if (backend != NULL) {
    if (strcmp(backend, "sqlite") == 0) wanted = files[0];
    else if (strcmp(backend, "ndb") == 0) wanted = files[1];
    else if (strcmp(backend, "bdb") == 0 || strcmp(backend, "bdb_ro") == 0) wanted = files[2];
  }
  int found = 0;
  for (size_t i = 0; i < sizeof files / sizeof files[0] && !found; ++i) {
    if (wanted != NULL && files[i] != wanted) continue;
    size_t const length = strlen(folder) + 1 + strlen(files[i]) + 1;
    char* const path = malloc(length);
    if (path == NULL) break;
    strcpy(path, folder);
    strcat(path, "/");
    strcat(path, files[i]);
    found = Exists(path, 0);
    free(path);
  }
  free(backend);
  return found;
}

/* Expands the macro `name` and defines it, until the caller pops it, as the
 * text found, its "%" doubled so that the text stands for itself. Null when
 * memory runs out, with nothing defined. */
static char* ExpandedOnce(char const* name) {
  size_t const length = strlen(name);
  char* const reference = malloc(length + 5);
  if (reference == NULL) return NULL;
  strcpy(reference, "%{?");
  strcat(reference, name);
  strcat(reference, "}");
  char* const text = rpmExpand(reference, NULL);
  free(reference);
  if (text == NULL) return NULL;
  size_t percents = 0;
  for (char const* at = text; *at != '\0'; ++at) percents += *at == '%';
  char* const body = malloc(strlen(text) + percents + 1);
  if (body == NULL) {
    free(text);
    return NULL;
  }
  char* out = body;
  for (char const* at = text; *at != '\0'; ++at) {
    if (*at == '%') *out++ = '%';
    *out++ = *at;
  }
  *out = '\0';
  free(text);
  rpmPushMacro(NULL, name, NULL, body, RMIL_CMDLINE);
  return body;
}

/* Opens the database under `root` (null or "" for "/") for reading. 0 and
 * the handle on success; nonzero, with nothing made, on failure. */
STUB_API int rpmdbOpen(char const* root, rpmdb* database, int mode, int permissions) {
  typedef int (*Function)(char const*, rpmdb*, int, int);
  static struct OwnSlot slot;
  Function const own = (Function)Own(&slot, "rpmdbOpen");
  if (own != NULL) return own(root, database, mode, permissions);
  if (database == NULL) return 1;
  *database = NULL;
  if (root == NULL || *root == '\0') root = "/";
  if (root[0] != '/' || !Exists(root, 1)) return 1;

  /* The database's folder is expanded once. A configuration may compute it
   * by running a shell (some distributions do, to follow the home folder),
   * and librpm expands it again as it opens the database: for the time of
   * the open, the folder is defined as the text found here. */
  char* const folder = ExpandedOnce("_dbpath");
  if (folder == NULL) return 1;
  char* const path = rpmGenPath(root, "%{?_dbpath}", "");
  int const present = path != NULL && Exists(path, 1) && HoldsDatabase(path);
  free(path);

  struct OpenDatabase* const entry = present ? malloc(sizeof *entry) : NULL;
  int opened = 0;
  if (entry != NULL) {
    entry->set = rpmtsCreate();
    opened = entry->set != NULL && rpmtsSetRootDir(entry->set, root) == 0 &&
             rpmtsOpenDB(entry->set, O_RDONLY) == 0 && rpmtsGetRdb(entry->set) != NULL;
    if (!opened) {
      if (entry->set != NULL) rpmtsFree(entry->set);
      free(entry);
    }
  }
  rpmPopMacro(NULL, "_dbpath");
  free(folder);
  if (!opened) return 1;
  entry->database = rpmtsGetRdb(entry->set);
  entry->next = openDatabases;
  openDatabases = entry;
  *database = entry->database;
  return 0;
}

/* Closes a database that rpmdbOpen gave. */
STUB_API int rpmdbClose(rpmdb database) {
  typedef int (*Function)(rpmdb);
  static struct OwnSlot slot;
  Function const own = (Function)Own(&slot, "rpmdbClose");
  if (own != NULL) return own(database);
  for (struct OpenDatabase** link = &openDatabases; *link != NULL; link = &(*link)->next) {
    struct OpenDatabase* const entry = *link;
    if (entry->database != database) continue;
    *link = entry->next;
    rpmtsFree(entry->set);
    free(entry);
    return 0;
  }
  return 1;
}

/* ---------------------------------------------------------------------------
 * Header data in the older form: 1 and the entry when the header has the
 * tag, else 0. A list of strings is one block from malloc, the pointers
 * followed by the texts, which the caller frees; anything else points into
 * the header and lives as long as it. */
STUB_API int headerGetRawEntry(Header header, rpm_tag_t tag, rpm_tagtype_t* type,
                               rpm_data_t* value, rpm_count_t* count) {
  typedef int (*Function)(Header, rpm_tag_t, rpm_tagtype_t*, rpm_data_t*, rpm_count_t*);
  static struct OwnSlot slot;
  Function const own = (Function)Own(&slot, "headerGetRawEntry");
  if (own != NULL) return own(header, tag, type, value, count);
  if (header == NULL) return 0;
  struct rpmtd_s data;
  if (!headerGet(header, tag, &data, HEADERGET_MINMEM | HEADERGET_RAW)) return 0;
  /* Freeing the container's data resets it, so its description is kept. */
  rpm_tagtype_t const dataType = data.type;
  rpm_count_t const dataCount = data.count;
  rpm_data_t result = data.data;
  if (dataType == RPM_STRING_ARRAY_TYPE || dataType == RPM_I18NSTRING_TYPE) {
    char const* const* const items = data.data;
    size_t size = data.count * sizeof(char*);
    for (rpm_count_t i = 0; i < data.count; ++i) size += strlen(items[i]) + 1;
    char** const block = malloc(size > 0 ? size : 1);
    if (block == NULL) {
      rpmtdFreeData(&data);
      return 0;
    }
    char* text = (char*)(block + data.count);
    for (rpm_count_t i = 0; i < data.count; ++i) {
      size_t const length = strlen(items[i]) + 1;
      memcpy(text, items[i], length);
      block[i] = text;
      text += length;
    }
    rpmtdFreeData(&data);
    result = block;
  }
  if (type != NULL) *type = dataType;
  if (value != NULL) {
    *value = result;
  } else if (dataType == RPM_STRING_ARRAY_TYPE || dataType == RPM_I18NSTRING_TYPE) {
    free(result);
  }
  if (count != NULL) *count = dataCount;
  return 1;
}

/* ---------------------------------------------------------------------------
 * Whether librpm itself provides the "rpmlib(...)" capability `key`: 1 when
 * one of its own provides matches it, else 0. */
STUB_API int rpmCheckRpmlibProvides(rpmds key) {
  typedef int (*Function)(rpmds);
  static struct OwnSlot slot;
  Function const own = (Function)Own(&slot, "rpmCheckRpmlibProvides");
  if (own != NULL) return own(key);
  if (key == NULL) return 0;
  rpmds provides = NULL;
  int answer = 0;
  if (rpmdsRpmlib(&provides, NULL) == 0 && provides != NULL)
    answer = rpmdsSearch(provides, key) >= 0;
  rpmdsFree(provides);
  return answer;
}
