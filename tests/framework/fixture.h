// Fixture packages for the frame tests: built in a temporary folder with
// msibuild, opened read-only, run through an emulated install session whose
// delivered user messages are collected line by line.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "framework/check_base.h"
#include "platform/platform.h"
#include "platform/posix/runner.h"

namespace qvtest {

inline std::string ShellQuote(const std::string& s)
{
    std::string out = "'";
    for (char c : s) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

// A temporary folder, removed with everything in it at the end.
class TempDir {
public:
    TempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "qvframe.XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// Builds dir/name.msi from SQL statements, one msibuild run each (msibuild
// takes one query per run).
inline std::string BuildPackage(const TempDir& dir, const std::string& name, const std::vector<std::string>& queries,
                                const std::string& templateText = ";1033")
{
    const std::string msi = dir.path() + "/" + name + ".msi";
    std::string command = "msibuild " + ShellQuote(msi) + " -s " + ShellQuote(name) + " qvice " +
                          ShellQuote(templateText) + " '{11111111-2222-3333-4444-555555555555}' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("msibuild failed: " + command);
    for (const std::string& query : queries) {
        command = "msibuild " + ShellQuote(msi) + " -q " + ShellQuote(query) + " >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0)
            throw std::runtime_error("msibuild failed: " + query);
    }
    return msi;
}

// An open package and one session over it; user messages land in lines.
class Session {
public:
    explicit Session(const std::string& msi)
    {
        const std::wstring wide(msi.begin(), msi.end());
        if (MsiOpenDatabaseW(wide.c_str(), MSIDBOPEN_READONLY, &m_database) != ERROR_SUCCESS)
            throw std::runtime_error("cannot open " + msi);
        m_session = qv::posix::OpenSession(m_database, msi, [this](INSTALLMESSAGE type, const std::wstring& text) {
            if (type == INSTALLMESSAGE_USER)
                lines.push_back(text);
            else
                other.push_back(text);
            return 1;
        });
        if (!m_session)
            throw std::runtime_error("cannot open a session over " + msi);
    }
    ~Session()
    {
        MsiCloseHandle(m_session);
        MsiCloseHandle(m_database);
    }
    MSIHANDLE handle() const { return m_session; }
    MSIHANDLE database() const { return m_database; }

    std::wstring Property(const wchar_t* name) const
    {
        wchar_t buffer[1024];
        DWORD size = 1024;
        if (MsiGetPropertyW(m_session, name, buffer, &size) != ERROR_SUCCESS)
            return L"<error>";
        return buffer;
    }

    // Delivered user messages, one per line, and all other messages.
    std::vector<std::wstring> lines;
    std::vector<std::wstring> other;

private:
    MSIHANDLE m_database = 0;
    MSIHANDLE m_session = 0;
};

// Common tables.
inline const char* kFeatureTable =
    "CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64) "
    "LOCALIZABLE, `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), `Attributes` SHORT NOT NULL "
    "PRIMARY KEY `Feature`)";
inline const char* kPropertyTable =
    "CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL LOCALIZABLE PRIMARY KEY "
    "`Property`)";

inline std::string FeatureRow(const std::string& key)
{
    return "INSERT INTO `Feature` (`Feature`, `Level`, `Attributes`) VALUES ('" + key + "', 1, 0)";
}
inline std::string PropertyRow(const std::string& name, const std::string& value)
{
    return "INSERT INTO `Property` (`Property`, `Value`) VALUES ('" + name + "', '" + value + "')";
}

// A check whose Validate is the test's own code.
class Probe : public CQVIceBase {
public:
    Probe(MSIHANDLE install, std::function<void(Probe&)> body) : CQVIceBase(install), m_body(std::move(body)) {}
    _stringx<> GetName() const override { return L"QVPROBE"; }
    _stringx<> GetDescription() const override { return L"probe"; }
    void Validate() override { m_body(*this); }

private:
    std::function<void(Probe&)> m_body;
};

}  // namespace qvtest
