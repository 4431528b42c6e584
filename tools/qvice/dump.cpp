#include "dump.h"

#include <ctime>

#include "platform/posix/api/database_posix.h"
#include "text.h"

namespace qvice {
namespace {

// Text of a field as the IDT form writes it: tab, carriage return and line
// feed inside a value are replaced by the control characters 16, 17 and 25.
std::wstring IdtEscape(std::wstring value) {
    for (auto& c : value) {
        if (c == L'\t') c = 16;
        else if (c == L'\r') c = 17;
        else if (c == L'\n') c = 25;
    }
    return value;
}

std::wstring FieldText(MSIHANDLE record, UINT field) {
    DWORD size = 0;
    wchar_t probe[1] = {0};
    UINT r = MsiRecordGetStringW(record, field, probe, &size);
    if (r == ERROR_SUCCESS) return std::wstring();
    if (r != ERROR_MORE_DATA) return std::wstring();
    std::wstring text(size + 1, L'\0');
    size += 1;
    if (MsiRecordGetStringW(record, field, text.data(), &size) != ERROR_SUCCESS) return std::wstring();
    text.resize(size);
    return text;
}

void WriteLine(std::FILE* out, const std::vector<std::wstring>& cells) {
    std::wstring line;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i) line += L'\t';
        line += cells[i];
    }
    line += L"\r\n";
    const std::string utf8 = Utf8(line);
    std::fwrite(utf8.data(), 1, utf8.size(), out);
}

std::wstring FileTimeText(const FILETIME& ft) {
    const uint64_t ticks = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    const int64_t unix_seconds = static_cast<int64_t>(ticks / 10000000ULL) - 11644473600LL;
    std::time_t t = static_cast<std::time_t>(unix_seconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    wchar_t buffer[32];
    std::swprintf(buffer, 32, L"%04d/%02d/%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buffer;
}

bool DumpSummary(MSIHANDLE database, std::FILE* out, std::string& error) {
    MSIHANDLE summary = 0;
    if (MsiGetSummaryInformationW(database, nullptr, 0, &summary) != ERROR_SUCCESS) {
        error = "cannot read the summary information";
        return false;
    }
    WriteLine(out, {L"PropertyId", L"Value"});
    WriteLine(out, {L"i2", L"l255"});
    WriteLine(out, {L"_SummaryInformation", L"PropertyId"});
    for (UINT pid = 1; pid <= 19; ++pid) {
        UINT type = 0;
        INT value = 0;
        FILETIME ft{};
        DWORD size = 0;
        wchar_t probe[1] = {0};
        UINT r = MsiSummaryInfoGetPropertyW(summary, pid, &type, &value, &ft, probe, &size);
        std::wstring text;
        if (type == VT_LPSTR) {
            if (r == ERROR_MORE_DATA) {
                std::wstring buffer(size + 1, L'\0');
                size += 1;
                MsiSummaryInfoGetPropertyW(summary, pid, &type, &value, &ft, buffer.data(), &size);
                buffer.resize(size);
                text = buffer;
            }
        } else if (type == VT_I2 || type == VT_I4) {
            text = std::to_wstring(value);
        } else if (type == VT_FILETIME) {
            text = FileTimeText(ft);
        } else {
            continue;
        }
        WriteLine(out, {std::to_wstring(pid), IdtEscape(text)});
    }
    MsiCloseHandle(summary);
    return true;
}

}  // namespace

std::vector<std::wstring> TableNames(MSIHANDLE database) {
    std::vector<std::wstring> names;
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database, L"SELECT `Name` FROM `_Tables`", &view) != ERROR_SUCCESS) return names;
    if (MsiViewExecute(view, 0) == ERROR_SUCCESS) {
        MSIHANDLE record = 0;
        while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
            names.push_back(FieldText(record, 1));
            MsiCloseHandle(record);
        }
    }
    MsiCloseHandle(view);
    return names;
}

bool DumpTable(MSIHANDLE database, const std::wstring& table, std::FILE* out, std::string& error) {
    if (table == L"_SummaryInformation") return DumpSummary(database, out, error);
    if (table == L"_ForceCodepage") {
        // The code page is not reachable through SQL; the reader keeps it.
        std::fprintf(out, "\r\n\r\n%d\t_ForceCodepage\r\n", qv::posix::DatabaseCodepage(database));
        return true;
    }
    if (table.find(L'`') != std::wstring::npos) {
        error = "invalid table name";
        return false;
    }
    MSIHANDLE view = 0;
    const std::wstring query = L"SELECT * FROM `" + table + L"`";
    if (MsiDatabaseOpenViewW(database, query.c_str(), &view) != ERROR_SUCCESS) {
        MsiCloseHandle(MsiGetLastErrorRecord());
        error = "no table " + Utf8(table);
        return false;
    }
    MSIHANDLE names = 0, types = 0;
    MsiViewGetColumnInfo(view, MSICOLINFO_NAMES, &names);
    MsiViewGetColumnInfo(view, MSICOLINFO_TYPES, &types);
    const UINT count = MsiRecordGetFieldCount(names);
    std::vector<std::wstring> column_names, column_types, header{table};
    for (UINT i = 1; i <= count; ++i) {
        column_names.push_back(FieldText(names, i));
        column_types.push_back(FieldText(types, i));
    }
    MsiCloseHandle(names);
    MsiCloseHandle(types);

    // Key columns name the streams of binary cells and the third header line.
    std::vector<UINT> key_fields;
    MSIHANDLE keys = 0;
    if (MsiDatabaseGetPrimaryKeysW(database, table.c_str(), &keys) == ERROR_SUCCESS) {
        for (UINT k = 1; k <= MsiRecordGetFieldCount(keys); ++k) {
            const std::wstring key = FieldText(keys, k);
            header.push_back(key);
            for (UINT i = 0; i < column_names.size(); ++i)
                if (column_names[i] == key) key_fields.push_back(i + 1);
        }
        MsiCloseHandle(keys);
    } else {
        MsiCloseHandle(MsiGetLastErrorRecord());
    }
    WriteLine(out, column_names);
    WriteLine(out, column_types);
    WriteLine(out, header);

    if (MsiViewExecute(view, 0) != ERROR_SUCCESS) {
        MsiCloseHandle(view);
        error = "cannot read table " + Utf8(table);
        return false;
    }
    MSIHANDLE record = 0;
    std::vector<std::wstring> cells(count);
    while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
        for (UINT i = 1; i <= count; ++i) {
            const wchar_t letter = column_types[i - 1].empty() ? L's' : column_types[i - 1][0];
            if ((letter == L'v' || letter == L'V') && !MsiRecordIsNull(record, i)) {
                std::wstring name = table;
                for (UINT k : key_fields) name += L"." + FieldText(record, k);
                cells[i - 1] = name;
            } else {
                cells[i - 1] = IdtEscape(FieldText(record, i));
            }
        }
        WriteLine(out, cells);
        MsiCloseHandle(record);
    }
    MsiCloseHandle(view);
    return true;
}

}  // namespace qvice
