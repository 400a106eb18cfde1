#include "survey/client/layout.h"

char const* const cRESERVED_DELETE_PREFIX = "__del";
char const* const cRESERVED_EXCEPTION_PREFIX = "__ok";
char const* const cRESERVED_MARKER = "__";

char const* const cRESERVED_SITE_PROFILE = "SiteVars";
char const* const cRESERVED_SITE_SITEDATATEMP = "SiteTemp";
char const* const cRESERVED_SITE_SITEDATA = "SiteData";
char const* const cRESERVED_SITE_DELETED_STORE = "Deleted";
char const* const cRESERVED_SITE_ALTERNATE_MASTHEAD = "masthead";
char const* const cRESERVED_SITE_MASTHEAD = "Masthead";
char const* const cRESERVED_SITE_FILELIST_NEW = "FileLNew";
char const* const cRESERVED_SITE_FILELIST = "FileList";
char const* const cRESERVED_SITE_ICONFILENAME_LARGE = "siteicol.bmp";
char const* const cRESERVED_SITE_ICONFILENAME_SMALL = "siteicos.bmp";
char const* const cRESERVED_SITE_ICONFILENAME = "siteicon.bmp";

char const* const cRESERVED_DIRECTORY_GATHERING = "Get";
char const* const cRESERVED_DIRECTORY_NOTATIONS = "Tmp";
char const* const cRESERVED_DIRECTORY_LOCAL = "__Local";
char const* const cRESERVED_DIRECTORY_GLOBAL = "__Global";
char const* const cRESERVED_DIRECTORY_COMPLIANCE_DOCS = "__Compliance";
char const* const cRESERVED_DIRECTORY_CACHE = "__Cache";
char const* const cRESERVED_DIRECTORY_DOWNLOAD = "__Download";
char const* const cRESERVED_DIRECTORY_UISESSION = "__UISession";
char const* const cRESERVED_DIRECTORY_UICACHE = "__UICache";
char const* const cRESERVED_DIRECTORY_UISUPPORT = "__UISupport";
char const* const cRESERVED_DIRECTORY_UIREFERENCE = "Reference";
char const* const cRESERVED_DIRECTORY_MODULE_STAGE = "__Stage";
char const* const cRESERVED_DIRECTORY_DATA = "__QRVData";
char const* const cRESERVED_DIRECTORY_LOGGING = "Logs";
char const* const cRESERVED_DIRECTORY_ACTIONHISTORY = "ActionHistory.db";
char const* const cRESERVED_USAGE_DIRECTORY_STATISTICS = "UsageData";
char const* const cRESERVED_DIRECTORY_NEW_SURVEY = "NewSurveyors";
char const* const cRESERVED_DIRECTORY_SURVEY = "Surveyors";

char const* const cRESERVED_UIIMAGE_FILENAME = "_clientui.ico";
char const* const cRESERVED_CREATE_FILENAME = "__createfile";
char const* const cRESERVED_APPEND_FILENAME = "__appendfile";
char const* const cRESERVED_PROFILE_TEMPNAME = "__ofile.htm";
char const* const cRESERVED_PROFILE_FILENAME = "Profile.htm";
char const* const cRESERVED_TECH_SUPPRT_SITE_NAME = "Kestrix";
char const* const cRESERVED_FILENAME_REPORT_SEQUENCE_DATA = "ReportSequenceData";
char const* const cRESERVED_FILENAME_FULL_REPORT_NEEDED = "__fullReportNeeded";
char const* const cRESERVED_FILENAME_REVOCATIONDAT = "Revocations.dat";
char const* const cRESERVED_FILENAME_REVOCATIONLIST = "Revocations.crl";
char const* const cRESERVED_FILENAME_REVOCATIONSTORE = "__revocations";
char const* const cRESERVED_FILENAME_RELAYLIST = "Relays.dat";
char const* const cRESERVED_FILENAME_ACTION_MASTHEAD = "__action.num";
char const* const cRESERVED_FILENAME_TEMPORARY_BITMAP = "addsite.bmp";
char const* const cRESERVED_FILENAME_GLOBAL_OPTIONS = "Options";
char const* const cRESERVED_FILENAME_ENCRYPTED_REPORT = "__encrypted_report";
char const* const cRESERVED_FILENAME_REPORT = "__report";
