// The pieces of qvice's JSON and SARIF output that no package reaches
// easily: odd lines, bytes that are not UTF-8, paths that need escaping.
// The tool's sources are not a library, so the unit is compiled in here.
#include <gtest/gtest.h>

#include "../../tools/qvice/output.cpp"

namespace {

using qvice::ArtifactUri;
using qvice::JsonEscape;
using qvice::SplitLine;

TEST(CliOutput, SplitLineFieldsAsAValidationToolSplitsThem) {
    const auto many = SplitLine("QVBP13\t2\tText\thelp.htm\tRegistry\tKey\tk1\tk2\t");
    EXPECT_EQ(many.check, "QVBP13");
    EXPECT_EQ(many.type, 2);
    EXPECT_EQ(many.text, "Text");
    EXPECT_EQ(many.help, "help.htm");
    EXPECT_EQ(many.table, "Registry");
    EXPECT_EQ(many.column, "Key");
    EXPECT_EQ(many.keys, (std::vector<std::string>{"k1", "k2", ""}));

    const auto bare = SplitLine("QVBP01");
    EXPECT_EQ(bare.check, "QVBP01");
    EXPECT_EQ(bare.type, -1);
    EXPECT_EQ(bare.text, "");
    EXPECT_TRUE(bare.keys.empty());

    for (const char* line : {"X\t\tt", "X\t1x\tt", "X\t-1\tt", "X\t 1\tt", "X\t99999999999\tt"})
        EXPECT_EQ(SplitLine(line).type, -1) << line;
    EXPECT_EQ(SplitLine("X\t3\t").type, 3);
}

TEST(CliOutput, JsonEscapeKeepsUtf8AndReplacesWhatIsNot) {
    EXPECT_EQ(JsonEscape("a\"b\\c\nd\re\tf\x01g\x1f"), "a\\\"b\\\\c\\nd\\re\\tf\\u0001g\\u001f");
    EXPECT_EQ(JsonEscape("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"), "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80");
    const std::string bad = "\xef\xbf\xbd";
    EXPECT_EQ(JsonEscape("a\xff" "b"), "a" + bad + "b");                // never a lead byte
    EXPECT_EQ(JsonEscape("\xc3"), bad);                                  // cut at the end
    EXPECT_EQ(JsonEscape("\xc3(x"), bad + "(x");                         // bad continuation
    EXPECT_EQ(JsonEscape("\xc0\xaf"), bad + bad);                        // overlong two-byte
    EXPECT_EQ(JsonEscape("\xe0\x80\xaf"), bad + bad + bad);              // overlong three-byte
    EXPECT_EQ(JsonEscape("\xed\xa0\x80"), bad + bad + bad);              // a surrogate
    EXPECT_EQ(JsonEscape("\xf4\x90\x80\x80"), bad + bad + bad + bad);    // past U+10FFFF
}

TEST(CliOutput, ArtifactUriOfRelativeAndAbsolutePaths) {
    EXPECT_EQ(ArtifactUri("out/a-b_c.~1.msi"), "out/a-b_c.~1.msi");
    EXPECT_EQ(ArtifactUri("a b:c#d%e?.msi"), "a%20b%3Ac%23d%25e%3F.msi");
    EXPECT_EQ(ArtifactUri("/tmp/caf\xc3\xa9.msi"), "file:///tmp/caf%C3%A9.msi");
}

// Text and JSON write what they are given, as they get it; SARIF keeps a rule
// for a check whose lines were all filtered out.
TEST(CliOutput, FormatsOverTheSameLines) {
    const std::vector<std::pair<std::string, bool>> lines = {
        {"QVBP01\t3\tQVBP01 - banner", false},
        {"QVBP01\t1\tFeature \"ALL\"\t\tFeature\tFeature\tALL", true},
        {"QVBP02\t3\tQVBP02 - banner", false},
        {"QVBP02\t3\tinformation only", true}};
    auto render = [&](const char* format, int status) {
        char* data = nullptr;
        size_t size = 0;
        std::FILE* out = open_memstream(&data, &size);
        {
            auto output = qvice::MakeOutput(format, out);
            for (const auto& [line, kept] : lines) output->Line("p.msi", line, kept);
            output->Finish(status);
        }
        std::fclose(out);
        std::string text(data, size);
        std::free(data);
        return text;
    };
    EXPECT_EQ(render("text", 1), "QVBP01\t1\tFeature \"ALL\"\t\tFeature\tFeature\tALL\nQVBP02\t3\tinformation only\n");
    EXPECT_EQ(render("json", 1),
              "[\n{\"package\":\"p.msi\",\"check\":\"QVBP01\",\"type\":1,\"text\":\"Feature \\\"ALL\\\"\",\"help\":\"\","
              "\"table\":\"Feature\",\"column\":\"Feature\",\"keys\":[\"ALL\"]},\n"
              "{\"package\":\"p.msi\",\"check\":\"QVBP02\",\"type\":3,\"text\":\"information only\",\"help\":\"\","
              "\"table\":\"\",\"column\":\"\",\"keys\":[]}\n]\n");
    const std::string sarif = render("sarif", 1);
    EXPECT_NE(sarif.find("{\"id\": \"QVBP02\", \"shortDescription\": {\"text\": \"Reports an error if a directory is "
                         "named 'DATABASE'\"}}"),
              std::string::npos);
    EXPECT_EQ(sarif.find("information only"), std::string::npos);  // type 3 is no result
    EXPECT_NE(sarif.find("\"ruleId\": \"QVBP01\",\n          \"ruleIndex\": 0,\n          \"level\": \"error\""),
              std::string::npos);
    EXPECT_EQ(qvice::MakeOutput("xml", stdout), nullptr);
}

}  // namespace
