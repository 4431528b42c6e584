// The reference machine's values in docs/reference-machine.md and in the
// code must be the same list, in the same order, section by section.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "platform/posix/kernel/paths.h"
#include "platform/posix/session/reference_machine.h"

namespace qv::posix::session {
namespace {

using Pairs = std::vector<std::pair<std::wstring, std::wstring>>;

// Rows "| `Name` | `Value` |" under the heading "## <title>".
Pairs document_section(const std::string& title) {
    std::ifstream in(QV_TEST_DATA_DIR "/../../docs/reference-machine.md");
    EXPECT_TRUE(in.good());
    Pairs rows;
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        if (line.rfind("## ", 0) == 0) inside = line == "## " + title;
        if (!inside || line.rfind("| `", 0) != 0) continue;
        const size_t name_end = line.find("` | `", 3);
        const size_t value_end = line.rfind("` |");
        if (name_end == std::string::npos || value_end == std::string::npos || value_end < name_end + 5) continue;
        rows.emplace_back(from_utf8(line.substr(3, name_end - 3)),
                          from_utf8(line.substr(name_end + 5, value_end - name_end - 5)));
    }
    return rows;
}

Pairs code_section(const std::vector<MachineValue>& values) {
    Pairs rows;
    for (const MachineValue& v : values) rows.emplace_back(v.name, v.value);
    return rows;
}

TEST(ReferenceMachine, DocumentListsEveryValueOfTheCode) {
    EXPECT_EQ(document_section("Properties"), code_section(ReferenceMachine::properties()));
    EXPECT_EQ(document_section("Defaults"), code_section(ReferenceMachine::defaults()));
    EXPECT_EQ(document_section("Per-machine folders"),
              code_section(ReferenceMachine::folders(FolderContext::PerMachine)));
    EXPECT_EQ(document_section("Per-user folders"), code_section(ReferenceMachine::folders(FolderContext::PerUser)));
    EXPECT_EQ(document_section("Per-user Program Files"), code_section(ReferenceMachine::per_user_program_files()));
    EXPECT_EQ(document_section("Environment"), code_section(ReferenceMachine::environment()));
}

// Folder properties end with a backslash; environment values do not
// (Path is a list, whose last entry happens to end with one).
TEST(ReferenceMachine, FolderValuesEndWithABackslash) {
    for (const auto* list : {&ReferenceMachine::folders(FolderContext::PerMachine),
                             &ReferenceMachine::folders(FolderContext::PerUser),
                             &ReferenceMachine::per_user_program_files()})
        for (const MachineValue& v : *list) EXPECT_EQ(std::wstring(v.value).back(), L'\\') << v.name;
    for (const MachineValue& v : ReferenceMachine::properties()) {
        const std::wstring name = v.name;
        if (name.ends_with(L"Folder") || name == L"WindowsVolume") {
            EXPECT_EQ(std::wstring(v.value).back(), L'\\') << name;
        }
    }
    for (const MachineValue& v : ReferenceMachine::environment()) {
        if (std::wstring(v.name) != L"Path") {
            EXPECT_NE(std::wstring(v.value).back(), L'\\') << v.name;
        }
    }
}

}  // namespace
}  // namespace qv::posix::session
