#include "database/directory.h"

#include <vector>

#include "database/views.h"

namespace {

// The parent column names the root by the literal key, exact in case.
bool IsTopParent(const _stringx<>& parent)
{
    return parent.empty() || (parent.size() == 9 && parent == L"TARGETDIR");
}

bool IsAsciiLetter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }
bool IsAsciiDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool IsNetworkPath(const _stringx<>& path)
{
    return path.size() >= 3 && path[0] == L'\\' && path[1] == L'\\';
}

}  // namespace

bool DirectoryRow(MSIHANDLE database, const _stringx<>& key, MSIHANDLE& record)
{
    qv::msi_handle view;
    const UINT result = TryFetchFirst(view.ref(), database, record, L"SELECT * FROM `%s` WHERE `%s` = '%s'",
                                      L"Directory", L"Directory", key);
    if (result != ERROR_SUCCESS && record) {
        MsiCloseHandle(record);
        record = 0;
    }
    return result == ERROR_SUCCESS && record != 0;
}

_stringx<> LongNameOf(const _stringx<>& defaultDir)
{
    const auto bar = defaultDir.find(L'|');
    if (bar == _stringx<>::npos)
        return defaultDir;
    return defaultDir.substr(bar + 1);
}

bool FindTopDirectory(MSIHANDLE database, const _stringx<>& key, _stringx<>& out)
{
    bool moved = false;
    _stringx<> current = key;
    qv::msi_handle record;
    for (;;) {
        if (!DirectoryRow(database, current, record.ref()))
            return moved;
        _stringx<> parent = RecordFieldString(record, 2);
        if (IsTopParent(parent)) {
            out = RecordFieldString(record, 1);
            return moved;
        }
        current = std::move(parent);
        moved = true;
    }
}

_stringx<> BuildDirectoryPath(MSIHANDLE database, const _stringx<>& key)
{
    std::vector<_stringx<>> names;
    qv::msi_handle record;
    if (!DirectoryRow(database, key, record.ref()))
        return _stringx<>();
    for (;;) {
        const _stringx<> parent = RecordFieldString(record, 2);
        if (IsTopParent(parent)) {
            names.push_back(_stringx<>(L"[") + RecordFieldString(record, 1) + L"]");
            break;
        }
        _stringx<> name = LongNameOf(RecordFieldString(record, 3));
        if (!(name.size() == 1 && name[0] == L'.'))
            names.push_back(std::move(name));
        if (!DirectoryRow(database, parent, record.ref()))
            break;
    }
    if (names.empty())
        return _stringx<>();
    // The last element is the top; the names follow it downwards.
    _stringx<> path = names.back();
    names.pop_back();
    for (size_t i = names.size(); i-- > 0;) {
        if (i + 1 != names.size())
            path += L'\\';
        path += names[i];
    }
    return path;
}

_stringx<> FolderRoot(const _stringx<>& path)
{
    if (IsNetworkPath(path)) {
        const auto server = path.find(L'\\', 2);
        if (server == _stringx<>::npos)
            return path;
        const auto share = path.find(L'\\', server + 1);
        return share == _stringx<>::npos ? path : path.substr(0, share);
    }
    if (path.size() >= 2 && path[1] == L':')
        return path.substr(0, 2);
    return _stringx<>();
}

_stringx<> FolderPart(const _stringx<>& path)
{
    const _stringx<> root = FolderRoot(path);
    const auto last = path.rfind(L'\\');
    if (last != _stringx<>::npos && last >= root.size())
        return path.substr(0, last + 1);
    return root;
}

_stringx<> FolderRemainder(const _stringx<>& path)
{
    const auto part = FolderPart(path).size();
    return part < path.size() ? path.substr(part) : _stringx<>();
}

bool NormalizeFolderPath(_stringx<>& path, bool rewrite)
{
    _stringx<qv::char_traitsi> text = path;
    const wchar_t* const blanks = L"\n\t ";
    const auto first = text.find_first_not_of(blanks);
    if (first == _stringx<>::npos)
        return false;
    text = text.substr(first, text.find_last_not_of(blanks) - first + 1);

    if (text.size() >= 3 && text[0] == L'\\' && text[1] == L'\\') {
        if (!IsAsciiLetter(text[2]) && !IsAsciiDigit(text[2]))
            return false;
    } else {
        if (text.size() == 1)
            text += L':';
        if (text[1] == L':') {
            if (text.size() == 2)
                text += L'\\';
            else if (text[2] != L'\\')
                text.insert(2, 1, L'\\');
        } else if (text[1] == L'\\') {
            text.insert(1, 1, L':');
        } else {
            return false;
        }
        if (!IsAsciiLetter(text[0]))
            return false;
    }

    const _stringx<> plain = text;
    const _stringx<> part = FolderPart(plain);
    const _stringx<> remainder = FolderRemainder(plain);
    const _stringx<> rest = plain.substr(2);
    if (rest.empty())
        return true;
    if (rest.find(L"\\\\") != _stringx<>::npos)
        return false;
    if (rest.find_first_of(L"/:*?\"<>|") != _stringx<>::npos)
        return false;
    if (rewrite)
        path = part + remainder;
    return true;
}
