// The reserved names of the client folder: its folders, the files of each
// site, the client's other files, and the markers of names. They are
// exported so that the host and the library agree on them. The library reads
// only the masthead and the usage statistics folder by these names, and picks
// files by type through the extensions declared beside the file types.
#pragma once

#include "survey/foundation/file_types.h"

// Markers of names.
extern char const* const cRESERVED_DELETE_PREFIX;
extern char const* const cRESERVED_EXCEPTION_PREFIX;
extern char const* const cRESERVED_MARKER;

// The files of a site.
extern char const* const cRESERVED_SITE_PROFILE;
extern char const* const cRESERVED_SITE_SITEDATATEMP;
extern char const* const cRESERVED_SITE_SITEDATA;
extern char const* const cRESERVED_SITE_DELETED_STORE;
extern char const* const cRESERVED_SITE_ALTERNATE_MASTHEAD;
extern char const* const cRESERVED_SITE_MASTHEAD;
extern char const* const cRESERVED_SITE_FILELIST_NEW;
extern char const* const cRESERVED_SITE_FILELIST;
extern char const* const cRESERVED_SITE_ICONFILENAME_LARGE;
extern char const* const cRESERVED_SITE_ICONFILENAME_SMALL;
extern char const* const cRESERVED_SITE_ICONFILENAME;

// Folders.
extern char const* const cRESERVED_DIRECTORY_GATHERING;
extern char const* const cRESERVED_DIRECTORY_NOTATIONS;
extern char const* const cRESERVED_DIRECTORY_LOCAL;
extern char const* const cRESERVED_DIRECTORY_GLOBAL;
extern char const* const cRESERVED_DIRECTORY_COMPLIANCE_DOCS;
extern char const* const cRESERVED_DIRECTORY_CACHE;
extern char const* const cRESERVED_DIRECTORY_DOWNLOAD;
extern char const* const cRESERVED_DIRECTORY_UISESSION;
extern char const* const cRESERVED_DIRECTORY_UICACHE;
extern char const* const cRESERVED_DIRECTORY_UISUPPORT;
extern char const* const cRESERVED_DIRECTORY_UIREFERENCE;
extern char const* const cRESERVED_DIRECTORY_MODULE_STAGE;
extern char const* const cRESERVED_DIRECTORY_DATA;
extern char const* const cRESERVED_DIRECTORY_LOGGING;
extern char const* const cRESERVED_DIRECTORY_ACTIONHISTORY;
extern char const* const cRESERVED_USAGE_DIRECTORY_STATISTICS;
extern char const* const cRESERVED_DIRECTORY_NEW_SURVEY;
extern char const* const cRESERVED_DIRECTORY_SURVEY;

// The client's other files.
extern char const* const cRESERVED_UIIMAGE_FILENAME;
extern char const* const cRESERVED_CREATE_FILENAME;
extern char const* const cRESERVED_APPEND_FILENAME;
extern char const* const cRESERVED_PROFILE_TEMPNAME;
extern char const* const cRESERVED_PROFILE_FILENAME;
extern char const* const cRESERVED_TECH_SUPPRT_SITE_NAME;
extern char const* const cRESERVED_FILENAME_REPORT_SEQUENCE_DATA;
extern char const* const cRESERVED_FILENAME_FULL_REPORT_NEEDED;
extern char const* const cRESERVED_FILENAME_REVOCATIONDAT;
extern char const* const cRESERVED_FILENAME_REVOCATIONLIST;
extern char const* const cRESERVED_FILENAME_REVOCATIONSTORE;
extern char const* const cRESERVED_FILENAME_RELAYLIST;
extern char const* const cRESERVED_FILENAME_ACTION_MASTHEAD;
extern char const* const cRESERVED_FILENAME_TEMPORARY_BITMAP;
extern char const* const cRESERVED_FILENAME_GLOBAL_OPTIONS;
extern char const* const cRESERVED_FILENAME_ENCRYPTED_REPORT;
extern char const* const cRESERVED_FILENAME_REPORT;
