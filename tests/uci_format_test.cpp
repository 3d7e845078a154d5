// Reading and writing UCI package files: every form of statement, the
// parse errors with their reason and place, anonymous names, and the
// canonical form commits write.
#include "uci/parser.h"
#include "uci/writer.h"

#include <gtest/gtest.h>

namespace {

using namespace vuci;

// Parses a text as package "demo" and writes it back as a commit would.
std::string round_trip(const std::string& text, int* err = nullptr, std::vector<parse_error>* errors = nullptr,
                       bool strict = true) {
    package p;
    p.name = "demo";
    std::vector<parse_error> ignored;
    int e = parse_package(text, strict, &p, errors ? errors : &ignored);
    if (err) *err = e;
    return write_package(p, false, false);
}

TEST(UciFormat, ReadsEveryFormOfStatementAndWritesTheCanonicalForm) {
    const std::string input = std::string(
        "# a comment line\r\n"
        "package demo\n"
        "\n"
        "config item\n"
        "\toption name 'it'\\''s'   # trailing comment\n"
        "\toption plain abc#rest\n"
        "\tlist ports 80\n"
        "\tlist ports \"8\\\"1\"\n"
        "config 'item' named ; option a 1 ; option b 'x'\"y\"z\r\n"
        "c\tt\n"
        "\to text 'one\n"
        "two\tthree'\n"
        "\to joined ab\\\n"
        "cd\n"
        "\to split ab\\\n"
        " # a blank at the start of a joined line ends the word\n"
        "\tl glued a;x ; o lost 1\n"
        "\to quoted 'q'; o kept 2\n"
        "\to nul ab\0hidden\n"
        "cd\n"
        "config item named\n"
        "\toption b replaced\n"
        "\toption empty ''\n"
        "\toption missing\n"
        "\toption a\n"
        "\tlist opt_then_list first\n"
        "\toption opt_then_list second\n"
        "\toption list_then_opt one\n"
        "\tlist list_then_opt two\n",
        564);
    ASSERT_EQ('\0', input[input.find("o nul ab") + 8]) << "the NUL is part of the text";
    int err = -1;
    EXPECT_EQ(
        "\n"
        "config item\n"
        "\toption name 'it'\\''s'\n"
        "\toption plain 'abc'\n"
        "\tlist ports '80'\n"
        "\tlist ports '8\"1'\n"
        "\n"
        "config item 'named'\n"
        "\toption b 'replaced'\n"
        "\toption opt_then_list 'second'\n"
        "\tlist list_then_opt 'one'\n"
        "\tlist list_then_opt 'two'\n"
        "\n"
        "config t\n"
        "\toption text 'one\ntwo\tthree'\n"
        "\toption joined 'abcd'\n"
        "\toption split 'ab'\n"
        "\tlist glued 'a'\n"
        "\toption quoted 'q'\n"
        "\toption kept '2'\n"
        "\toption nul 'abcd'\n"
        "\n",
        round_trip(input, &err));
    EXPECT_EQ(OK, err);
}

TEST(UciFormat, ParseErrorsGiveTheReasonLineAndByte) {
    struct bad_case {
        std::string text;
        std::string reason;
        int line;
        int byte;
    } cases[] = {
        // A problem with the keyword points at its first byte; a keyword ends only at a blank.
        {"config\n", "invalid command", 1, 0},
        {"config item\n  bogus a\n", "invalid command", 2, 2},
        {"config item\n\tlist\n", "invalid command", 2, 1},
        {"config item\n\toption; a b\n", "invalid command", 2, 1},
        {"option a b\n", "option/list command found before the first section", 1, 0},
        // A problem with an argument points past the word and the blank or line end after it.
        {"config item\n\toption a b c\n", "too many arguments", 2, 14},
        {"config item\n\toption a b c d\n", "too many arguments", 2, 14},
        {"config item\r\n\toption a b c\r\n", "too many arguments", 2, 14},
        {"config item bad-name\n", "invalid character in name field", 1, 21},
        {"config item\n\toption my-opt 1\n", "invalid character in name field", 2, 15},
        {"config it@m x\n", "invalid character in type field", 1, 12},
        {"config item s\nconfig rule s\n", "section of different type overwrites prior section with same name", 2, 14},
        // An open quote: the statement's line, and every byte up to the end of the file.
        {"config item\n\toption a 'open\nx\ny\n", "EOF with unterminated '", 2, 20},
        {"config item\n\toption a \"op\\\"en\n", "EOF with unterminated \"", 2, 18},
        {std::string("config item\n\toption a 'x\0y'\n\toption b 2\n", 40), "EOF with unterminated '", 2, 24},
        // Joined lines: the later line, counting on from the first.
        {"config item\n\toption a b\\\nc d\n", "too many arguments", 3, 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int err = 0;
        std::vector<parse_error> errors;
        round_trip(c.text, &err, &errors);
        EXPECT_EQ(ERR_PARSE, err);
        ASSERT_EQ(1u, errors.size());
        EXPECT_EQ(c.reason, errors[0].reason);
        EXPECT_EQ(c.line, errors[0].line);
        EXPECT_EQ(c.byte, errors[0].byte);
    }

    // Lenient reading reports the broken line and goes on with the next;
    // it does not check the count of arguments or a section's type.
    int err = -1;
    std::vector<parse_error> errors;
    EXPECT_EQ("\nconfig rule 's'\n\toption a 'b'\n\toption y '2'\n\n",
              round_trip("config item s\n\toption a b c\nconfig rule s\nbogus\n\toption y 2\n", &err, &errors, false));
    EXPECT_EQ(OK, err);
    ASSERT_EQ(1u, errors.size());
    EXPECT_EQ("invalid command", errors[0].reason);
    EXPECT_EQ(4, errors[0].line);
    // Bytes that are not text are kept as they are inside values.
    EXPECT_EQ("\nconfig item\n\toption v '\xff\xfe\x01'\n\n", round_trip("config item\noption v '\xff\xfe\x01'\n"));
}

TEST(UciFormat, AnonymousSectionsAreNamedByCounterAndTypeHash) {
    EXPECT_EQ("cfg019e34", anonymous_name(1, "item"));
    EXPECT_EQ("cfg0192bd", anonymous_name(1, "rule"));
    EXPECT_EQ("cfg01b619", anonymous_name(1, "t"));
    package p;
    p.name = "demo";
    ASSERT_EQ(OK, parse_package("config item\nconfig item named\nconfig rule\nconfig t\n", true, &p, nullptr));
    ASSERT_EQ(4u, p.sections.size());
    EXPECT_EQ("cfg019e34", p.sections[0]->name);
    EXPECT_EQ("named", p.sections[1]->name);
    EXPECT_EQ("cfg0392bd", p.sections[2]->name);
    EXPECT_EQ("cfg04b619", p.sections[3]->name);
    EXPECT_TRUE(p.find("cfg0392bd"));
    // A generated name steps past a section that already carries it.
    package taken;
    ASSERT_EQ(OK, parse_package("config item cfg029e34\nconfig item\n", true, &taken, nullptr));
    EXPECT_EQ("cfg039e34", taken.sections[1]->name);
    // Export names anonymous sections only when asked to.
    package one;
    one.name = "demo";
    one.create("t", "");
    EXPECT_EQ("package demo\n\nconfig t 'cfg01b619'\n\n", write_package(one, true, true));
    EXPECT_EQ("package demo\n\nconfig t\n\n", write_package(one, true, false));
}

TEST(UciFormat, LargePackagesAndValuesParse) {
    std::string text;
    for (int i = 0; i < 10000; ++i) text += "config item s" + std::to_string(i) + "\n\toption v " + std::to_string(i) + "\n";
    package p;
    p.name = "big";
    ASSERT_EQ(OK, parse_package(text, true, &p, nullptr));
    ASSERT_EQ(10000u, p.sections.size());
    EXPECT_EQ("9999", p.find("s9999")->find("v")->value);

    std::string value(64 * 1024, 'v');
    value[100] = '\'';
    value[200] = '\n';
    value[300] = ';';
    package big;
    big.name = "big";
    big.create("item", "one")->options.push_back(option{"v", false, value, {}});
    package back;
    ASSERT_EQ(OK, parse_package(write_package(big, false, false), true, &back, nullptr));
    EXPECT_EQ(value, back.find("one")->find("v")->value);
}

}  // namespace
