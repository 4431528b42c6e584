// The Windows Installer API subset the library uses, under its Windows names
// and signatures, implemented over qvice's own read-only database engine and
// session emulation.
#pragma once

#include "types.h"

enum MSICONDITION {
    MSICONDITION_FALSE = 0,
    MSICONDITION_TRUE = 1,
    MSICONDITION_NONE = 2,
    MSICONDITION_ERROR = 3,
};

enum MSICOLINFO {
    MSICOLINFO_NAMES = 0,
    MSICOLINFO_TYPES = 1,
};

enum INSTALLMESSAGE : int {
    INSTALLMESSAGE_FATALEXIT = 0x00000000,
    INSTALLMESSAGE_ERROR = 0x01000000,
    INSTALLMESSAGE_WARNING = 0x02000000,
    INSTALLMESSAGE_USER = 0x03000000,
    INSTALLMESSAGE_INFO = 0x04000000,
};

enum MSIDBERROR {
    MSIDBERROR_INVALIDARG = -3,
    MSIDBERROR_MOREDATA = -2,
    MSIDBERROR_FUNCTIONERROR = -1,
    MSIDBERROR_NOERROR = 0,
};

// Persist mode of MsiOpenDatabaseW: only read-only opening is supported.
#define MSIDBOPEN_READONLY (reinterpret_cast<LPCWSTR>(0))

constexpr int MSI_NULL_INTEGER = static_cast<int>(0x80000000);

// Summary information property types (VARENUM subset).
constexpr UINT VT_EMPTY = 0;
constexpr UINT VT_NULL = 1;
constexpr UINT VT_I2 = 2;
constexpr UINT VT_I4 = 3;
constexpr UINT VT_LPSTR = 30;
constexpr UINT VT_FILETIME = 64;

// Summary information property ids.
constexpr UINT PID_CODEPAGE = 1;
constexpr UINT PID_TITLE = 2;
constexpr UINT PID_SUBJECT = 3;
constexpr UINT PID_AUTHOR = 4;
constexpr UINT PID_KEYWORDS = 5;
constexpr UINT PID_COMMENTS = 6;
constexpr UINT PID_TEMPLATE = 7;
constexpr UINT PID_LASTAUTHOR = 8;
constexpr UINT PID_REVNUMBER = 9;
constexpr UINT PID_EDITTIME = 10;
constexpr UINT PID_LASTPRINTED = 11;
constexpr UINT PID_CREATE_DTM = 12;
constexpr UINT PID_LASTSAVE_DTM = 13;
constexpr UINT PID_PAGECOUNT = 14;
constexpr UINT PID_WORDCOUNT = 15;
constexpr UINT PID_CHARCOUNT = 16;
constexpr UINT PID_APPNAME = 18;
constexpr UINT PID_SECURITY = 19;

// Database and views.
UINT MsiOpenDatabaseW(LPCWSTR szDatabasePath, LPCWSTR szPersist, MSIHANDLE* phDatabase);
UINT MsiDatabaseOpenViewW(MSIHANDLE hDatabase, LPCWSTR szQuery, MSIHANDLE* phView);
UINT MsiViewExecute(MSIHANDLE hView, MSIHANDLE hRecord);
UINT MsiViewFetch(MSIHANDLE hView, MSIHANDLE* phRecord);
UINT MsiViewClose(MSIHANDLE hView);
UINT MsiViewGetColumnInfo(MSIHANDLE hView, MSICOLINFO eColumnInfo, MSIHANDLE* phRecord);
MSICONDITION MsiDatabaseIsTablePersistentW(MSIHANDLE hDatabase, LPCWSTR szTableName);
UINT MsiDatabaseGetPrimaryKeysW(MSIHANDLE hDatabase, LPCWSTR szTableName, MSIHANDLE* phRecord);
UINT MsiDatabaseMergeW(MSIHANDLE hDatabase, MSIHANDLE hDatabaseMerge, LPCWSTR szTableName);
MSIHANDLE MsiGetLastErrorRecord();
UINT MsiCloseHandle(MSIHANDLE hAny);
UINT MsiCloseAllHandles();

// Records.
MSIHANDLE MsiCreateRecord(UINT cParams);
UINT MsiRecordGetFieldCount(MSIHANDLE hRecord);
BOOL MsiRecordIsNull(MSIHANDLE hRecord, UINT iField);
UINT MsiRecordDataSize(MSIHANDLE hRecord, UINT iField);
int MsiRecordGetInteger(MSIHANDLE hRecord, UINT iField);
UINT MsiRecordGetStringW(MSIHANDLE hRecord, UINT iField, LPWSTR szValueBuf, LPDWORD pcchValueBuf);
UINT MsiRecordReadStream(MSIHANDLE hRecord, UINT iField, char* szDataBuf, LPDWORD pcbDataBuf);
UINT MsiRecordSetStringW(MSIHANDLE hRecord, UINT iField, LPCWSTR szValue);
UINT MsiRecordSetInteger(MSIHANDLE hRecord, UINT iField, int iValue);
UINT MsiRecordClearData(MSIHANDLE hRecord);
UINT MsiFormatRecordW(MSIHANDLE hInstall, MSIHANDLE hRecord, LPWSTR szResultBuf, LPDWORD pcchResultBuf);

// Summary information.
UINT MsiGetSummaryInformationW(MSIHANDLE hDatabase, LPCWSTR szDatabasePath, UINT uiUpdateCount,
                               MSIHANDLE* phSummaryInfo);
UINT MsiSummaryInfoGetPropertyCount(MSIHANDLE hSummaryInfo, PUINT puiPropertyCount);
UINT MsiSummaryInfoGetPropertyW(MSIHANDLE hSummaryInfo, UINT uiProperty, PUINT puiDataType, LPINT piValue,
                                FILETIME* pftValue, LPWSTR szValueBuf, LPDWORD pcchValueBuf);

// Session services.
MSIHANDLE MsiGetActiveDatabase(MSIHANDLE hInstall);
UINT MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf);
UINT MsiSetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue);
MSICONDITION MsiEvaluateConditionW(MSIHANDLE hInstall, LPCWSTR szCondition);
UINT MsiDoActionW(MSIHANDLE hInstall, LPCWSTR szAction);
int MsiProcessMessage(MSIHANDLE hInstall, INSTALLMESSAGE eMessageType, MSIHANDLE hRecord);
UINT MsiGetTargetPathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf);
UINT MsiGetSourcePathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf);

// File version and languages from a file's version resource
// (platform/posix/inspect/version_resource.cpp).
UINT MsiGetFileVersionW(LPCWSTR szFilePath, LPWSTR lpVersionBuf, LPDWORD pcchVersionBuf, LPWSTR lpLangBuf,
                        LPDWORD pcchLangBuf);

// Digital signature of a file (platform/posix/api/signature_api.cpp): an
// Authenticode check of the PE image's embedded signature. The certificate
// context is opaque here; on success it is the signer's certificate, which
// the caller may ignore. A negative HRESULT means "not signed".
struct CERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;
constexpr DWORD MSI_INVALID_HASH_IS_FATAL = 0x1;
constexpr HRESULT TRUST_E_NOSIGNATURE = static_cast<HRESULT>(0x800B0100);
constexpr HRESULT TRUST_E_BAD_DIGEST = static_cast<HRESULT>(0x80096010);
constexpr HRESULT TRUST_E_CERT_SIGNATURE = static_cast<HRESULT>(0x80096004);
constexpr HRESULT CERT_E_UNTRUSTEDROOT = static_cast<HRESULT>(0x800B0109);
constexpr HRESULT CERT_E_CHAINING = static_cast<HRESULT>(0x800B010A);
constexpr HRESULT CERT_E_EXPIRED = static_cast<HRESULT>(0x800B0101);
constexpr HRESULT CERT_E_WRONG_USAGE = static_cast<HRESULT>(0x800B0110);
HRESULT MsiGetFileSignatureInformationW(LPCWSTR szSignedObjectPath, DWORD dwFlags, PCCERT_CONTEXT* ppcCertContext,
                                        BYTE* pbHashData, LPDWORD pcbHashData);
