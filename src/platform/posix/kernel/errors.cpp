// Last error, errno translation, system message texts and local memory.

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "platform/posix/kernel/internal.h"

namespace {

thread_local DWORD t_last_error = 0;

struct SystemMessage {
    DWORD code;
    const wchar_t* text;
};

// The short descriptions of the system error codes, as the system's message
// table gives them; FormatMessageW adds the closing line break.
constexpr SystemMessage kWin32Messages[] = {
    {0, L"The operation completed successfully."},
    {1, L"Incorrect function."},
    {2, L"The system cannot find the file specified."},
    {3, L"The system cannot find the path specified."},
    {4, L"The system cannot open the file."},
    {5, L"Access is denied."},
    {6, L"The handle is invalid."},
    {8, L"Not enough memory resources are available to process this command."},
    {11, L"An attempt was made to load a program with an incorrect format."},
    {13, L"The data is invalid."},
    {14, L"Not enough memory resources are available to complete this operation."},
    {17, L"The system cannot move the file to a different disk drive."},
    {18, L"There are no more files."},
    {29, L"The system cannot write to the specified device."},
    {30, L"The system cannot read from the specified device."},
    {31, L"A device attached to the system is not functioning."},
    {32, L"The process cannot access the file because it is being used by another process."},
    {38, L"Reached the end of the file."},
    {50, L"The request is not supported."},
    {80, L"The file exists."},
    {87, L"The parameter is incorrect."},
    {110, L"The system cannot open the device or file specified."},
    {111, L"The file name is too long."},
    {112, L"There is not enough space on the disk."},
    {120, L"This function is not supported on this system."},
    {122, L"The data area passed to a system call is too small."},
    {123, L"The filename, directory name, or volume label syntax is incorrect."},
    {126, L"The specified module could not be found."},
    {131, L"An attempt was made to move the file pointer before the beginning of the file."},
    {145, L"The directory is not empty."},
    {170, L"The requested resource is in use."},
    {183, L"Cannot create a file when that file already exists."},
    {206, L"The filename or extension is too long."},
    {234, L"More data is available."},
    {259, L"No more data is available."},
    {267, L"The directory name is invalid."},
    {317, L"The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, L"Attempt to access invalid address."},
    {1004, L"Invalid flags."},
    {1006, L"The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1113, L"No mapping for the Unicode character exists in the target multi-byte code page."},
    {1132, L"The base address or the file offset specified does not have the proper alignment."},
    {1224, L"The requested operation cannot be performed on a file with a user-mapped section open."},
    {1603, L"Fatal error during installation."},
    {1608, L"Unknown property."},
    {1609, L"Handle is in an invalid state."},
    {1610, L"The configuration data for this product is corrupt.  Contact your support personnel."},
    {1615, L"SQL query syntax invalid or unsupported."},
    {1616, L"Record field does not exist."},
    {1619, L"This installation package could not be opened.  Verify that the package exists and that you can "
           L"access it, or contact the application vendor to verify that this is a valid Windows Installer "
           L"package."},
    {1620, L"This installation package could not be opened.  Contact the application vendor to verify that "
           L"this is a valid Windows Installer package."},
    {1626, L"Function could not be executed."},
    {1627, L"Function failed during execution."},
    {1628, L"Invalid or unknown table specified."},
    {1629, L"Data supplied is of wrong type."},
    {1630, L"Data of this type is not supported."},
    {1631, L"The Windows Installer service failed to start.  Contact your support personnel."},
    {1804, L"The specified datatype is invalid."},
    {1812, L"The specified image file did not contain a resource section."},
    {1813, L"The specified resource type cannot be found in the image file."},
    {1814, L"The specified resource name cannot be found in the image file."},
};

// HRESULTs outside the 0x8007xxxx range of wrapped Win32 codes.
constexpr SystemMessage kHresultMessages[] = {
    {0x80004001, L"Not implemented"},
    {0x80004002, L"No such interface supported"},
    {0x80004003, L"Invalid pointer"},
    {0x80004004, L"Operation aborted"},
    {0x80004005, L"Unspecified error"},
    {0x8000FFFF, L"Catastrophic failure"},
    {0x80010106, L"Cannot change thread mode after it is set."},
    {0x80040154, L"Class not registered"},
    {0x800401F0, L"CoInitialize has not been called."},
    {0x800401F3, L"Invalid class string"},
};

const wchar_t* lookup(const SystemMessage* table, size_t count, DWORD code) {
    for (size_t i = 0; i < count; ++i)
        if (table[i].code == code) return table[i].text;
    return nullptr;
}

const wchar_t* system_message(DWORD code) {
    if ((code & 0xFFFF0000u) == 0x80070000u)
        return lookup(kWin32Messages, std::size(kWin32Messages), code & 0xFFFF);
    if (const wchar_t* text = lookup(kHresultMessages, std::size(kHresultMessages), code)) return text;
    return lookup(kWin32Messages, std::size(kWin32Messages), code);
}

}  // namespace

DWORD GetLastError() { return t_last_error; }

void SetLastError(DWORD dwErrCode) { t_last_error = dwErrCode; }

namespace qv::posix {

DWORD win32_from_errno(int error) {
    switch (error) {
        case 0: return ERROR_SUCCESS;
        case ENOENT: return ERROR_FILE_NOT_FOUND;
        case ENOTDIR: return ERROR_PATH_NOT_FOUND;
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR: return ERROR_ACCESS_DENIED;
        case EEXIST: return ERROR_ALREADY_EXISTS;
        case EBADF: return ERROR_INVALID_HANDLE;
        case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
        case EMFILE:
        case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
        case ENOSPC:
        case EDQUOT: return ERROR_DISK_FULL;
        case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
        case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
        case EXDEV: return ERROR_NOT_SAME_DEVICE;
        case EBUSY:
        case ETXTBSY: return ERROR_SHARING_VIOLATION;
        case EINVAL: return ERROR_INVALID_PARAMETER;
        case ELOOP: return ERROR_PATH_NOT_FOUND;
        case EFBIG: return ERROR_DISK_FULL;
        default: return ERROR_GEN_FAILURE;
    }
}

void set_error_from_errno(int error, const std::string& posix_path) {
    if (error == ENOENT) {
        struct stat st;
        std::string parent = parent_of(posix_path);
        bool parent_is_folder = stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
        SetLastError(parent_is_folder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND);
        return;
    }
    SetLastError(win32_from_errno(error));
}

}  // namespace qv::posix

DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPWSTR lpBuffer,
                     DWORD nSize, va_list* Arguments) {
    if (!(dwFlags & FORMAT_MESSAGE_FROM_SYSTEM) || (dwFlags & (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE)) ||
        !lpBuffer) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const wchar_t* text = system_message(dwMessageId);
    if (!text) {
        SetLastError(ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    // The texts with inserts need their arguments unless inserts are ignored.
    if (!(dwFlags & FORMAT_MESSAGE_IGNORE_INSERTS) && std::wcschr(text, L'%')) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const size_t length = std::wcslen(text) + 2;  // with "\r\n"
    wchar_t* out;
    if (dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        size_t count = length + 1 > nSize ? length + 1 : nSize;
        out = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, count * sizeof(wchar_t)));
        if (!out) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return 0;
        }
        *reinterpret_cast<LPWSTR*>(lpBuffer) = out;
    } else {
        if (nSize < length + 1) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
        out = lpBuffer;
    }
    std::wmemcpy(out, text, length - 2);
    out[length - 2] = L'\r';
    out[length - 1] = L'\n';
    out[length] = L'\0';
    return static_cast<DWORD>(length);
}

HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes) {
    void* memory = (uFlags & LMEM_ZEROINIT) ? std::calloc(1, uBytes ? uBytes : 1) : std::malloc(uBytes ? uBytes : 1);
    if (!memory) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

HLOCAL LocalFree(HLOCAL hMem) {
    std::free(hMem);
    return nullptr;
}
