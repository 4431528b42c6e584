// Shared pieces of the group B check tests: table definitions and row
// builders for fixture packages, and a runner that returns the delivered
// lines of one export over one package.
#pragma once

#include <string>
#include <vector>

#include "framework/fixture.h"

namespace groupb {

using Lines = std::vector<std::wstring>;
using Queries = std::vector<std::string>;

// The line of message 124 for a query over a table the package lacks.
inline std::wstring MissingTableLine(const std::wstring& check, const std::wstring& table)
{
    return check + L"\t0\tAn unexpected exception occurred in running " + check +
           L". -2147023281:  Windows Installer Error 2228: , " + table + L", SELECT * FROM `" + table +
           L"`\nMsiOpenDatabaseView()";
}

// Builds the package in its own temporary folder, runs the export in a fresh
// session and returns what it delivered.
template <class Export>
Lines RunCheck(Export exportFunction, const std::string& name, const Queries& queries)
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(dir, name, queries);
    qvtest::Session session(msi);
    EXPECT_EQ(exportFunction(session.handle()), 0u);
    return session.lines;
}

inline Queries Join(Queries a, const Queries& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline std::string Quoted(const std::string& value) { return "'" + value + "'"; }

// INSERT INTO `table` (columns) VALUES (values): values are given as SQL
// literals (strings already quoted).
inline std::string Insert(const std::string& table, const std::string& columns, const std::string& values)
{
    return "INSERT INTO `" + table + "` (" + columns + ") VALUES (" + values + ")";
}

inline const char* kSequenceColumns = "(`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), `Sequence` SHORT "
                                      "PRIMARY KEY `Action`)";

inline std::string SequenceTable(const std::string& table)
{
    return "CREATE TABLE `" + table + "` " + kSequenceColumns;
}

inline std::string SequenceRow(const std::string& table, const std::string& action, const std::string& condition,
                               int sequence)
{
    if (condition.empty())
        return Insert(table, "`Action`, `Sequence`", Quoted(action) + ", " + std::to_string(sequence));
    return Insert(table, "`Action`, `Condition`, `Sequence`",
                  Quoted(action) + ", " + Quoted(condition) + ", " + std::to_string(sequence));
}

inline std::string PropertyRow(const std::string& name, const std::string& value)
{
    return qvtest::PropertyRow(name, value);
}

}  // namespace groupb
