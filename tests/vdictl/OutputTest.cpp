// How vdictl prints: tables, colours, and bytes that would not print.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "Report.h"
#include "Table.h"
#include "Terminal.h"

namespace {

using namespace vdictl;

const Terminal file;

Table sample() {
    Table table({{"NAME", Table::Align::Left, Table::Shrink::Name},
                 {"SIZE", Table::Align::Right},
                 {"TEXT", Table::Align::Left, Table::Shrink::Name}});
    table.add({"a long name", "7", "t"});
    table.add({"b", "12345", "a much longer text"});
    table.add({"c"});
    return table;
}

TEST(VdictlTable, AlignsItsColumns) {
    EXPECT_EQ(sample().text(file),
              "NAME          SIZE  TEXT\n"
              "a long name      7  t\n"
              "b            12345  a much longer text\n"
              "c\n");
}

TEST(VdictlTable, FitsTheTerminal) {
    EXPECT_EQ(sample().text(Terminal(31, false)),
              "NAME          SIZE  TEXT\n"
              "a long name      7  t\n"
              "b            12345  a much lon…\n"
              "c\n");
    EXPECT_EQ(sample().text(Terminal(29, false)),
              "NAME         SIZE  TEXT\n"
              "a long na…      7  t\n"
              "b           12345  a much lo…\n"
              "c\n")
        << "the widest shrinks first";
    EXPECT_EQ(sample().text(Terminal(17, false)),
              "NAME   SIZE  TEXT\n"
              "a l…      7  t\n"
              "b     12345  a m…\n"
              "c\n");
}

TEST(VdictlTable, BreaksRowsThatDoNotFit) {
    EXPECT_EQ(sample().text(Terminal(16, false)),
              "NAME\n"
              "     SIZE\n"
              "    TEXT\n"
              "a long name\n"
              "        7\n"
              "    t\n"
              "b\n"
              "    12345\n"
              "    a much long…\n"
              "c\n");
}

TEST(VdictlTable, GivesATextThatCouldNotBeReadALineOfItsOwn) {
    const std::string text(40, 'x');
    Table table({{"KEY"}, {"TEXT", Table::Align::Left, Table::Shrink::Text}});
    table.add({"a", text});
    table.add({"b"});
    EXPECT_EQ(table.text(Terminal(45, false)), "KEY  TEXT\na    " + text + "\nb\n");
    EXPECT_EQ(table.text(Terminal(40, false)), "KEY  TEXT\na    " + text.substr(0, 34) + "…\nb\n");
    EXPECT_EQ(table.text(Terminal(34, false)), "KEY\n    TEXT\na\n    " + text.substr(0, 29) + "…\nb\n");
}

TEST(VdictlTable, IsEmptyWithoutRows) {
    EXPECT_EQ(Table({{"NAME"}}).text(file), "");
    EXPECT_TRUE(Table({{"NAME"}}).isEmpty());
}

TEST(VdictlTable, CountsColumnsAndNotBytes) {
    Table table({{"NAME"}, {"X"}});
    table.add({"\xC3\xA4\xC3\xB6", "1"});          // two letters
    table.add({"\xE6\xBC\xA2\xE5\xAD\x97", "2"});  // two characters of double width
    table.add({"e\xCC\x81", "3"});                 // a letter and its accent
    EXPECT_EQ(table.text(file),
              "NAME  X\n"
              "\xC3\xA4\xC3\xB6    1\n"
              "\xE6\xBC\xA2\xE5\xAD\x97  2\n"
              "e\xCC\x81     3\n");
}

TEST(VdictlTable, ColoursOnlyWhereThereIsColour) {
    Table table({{"NAME"}, {"STATE"}});
    table.add({"x", {"dead", Style::Bad}});
    EXPECT_EQ(table.text(Terminal(80, false)), "NAME  STATE\nx     dead\n");
    EXPECT_EQ(table.text(Terminal(80, true)), "\x1b[1mNAME\x1b[0m  \x1b[1mSTATE\x1b[0m\nx     \x1b[31mdead\x1b[0m\n");
}

TEST(VdictlText, IsCutToColumns) {
    EXPECT_EQ(cutToColumns("abcdef", 6), "abcdef");
    EXPECT_EQ(cutToColumns("abcdef", 5), "abcd…");
    EXPECT_EQ(cutToColumns("abcdef", 1), "…");
    EXPECT_EQ(cutToColumns("abcdef", 0), "");
    EXPECT_EQ(cutToColumns("\xE6\xBC\xA2\xE5\xAD\x97", 3), "\xE6\xBC\xA2…") << "never half a character";
    EXPECT_EQ(cutToColumns("\xE6\xBC\xA2\xE5\xAD\x97", 2), "…");
}

TEST(VdictlText, ShowsWhatWouldNotPrint) {
    EXPECT_EQ(printable("a\x1b[31m\n\\\x7f"), "a\\x1b[31m\\x0a\\\\\\x7f");
    EXPECT_EQ(visible("a\x1b[31m\n\\\x7f"), "a\\x1b[31m\\x0a\\\\x7f");
    EXPECT_EQ(printable(std::string("\0x", 2)), "\\x00x");
    EXPECT_EQ(printable("\xC3\xA4\xE6\xBC\xA2"), "\xC3\xA4\xE6\xBC\xA2");
    EXPECT_EQ(printable("\xC2\x9B"), "\\xc2\\x9b") << "a control character of two bytes";
}

TEST(VdictlText, ShowsBytesThatAreNoUtf8) {
    EXPECT_EQ(printable("\xFF"), "\\xff");
    EXPECT_EQ(printable("\xC3"), "\\xc3") << "cut short";
    EXPECT_EQ(printable("\xC0\xAF"), "\\xc0\\xaf") << "longer than needed";
    EXPECT_EQ(printable("\xE0\x80\xAF"), "\\xe0\\x80\\xaf");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xed\\xa0\\x80") << "half a pair";
    EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "above the last character";
    EXPECT_EQ(printable("\xC3\x41"),
              "\\xc3"
              "A");
}

TEST(VdictlFailure, NamesObjectCallErrorAndAdvice) {
    EXPECT_STREQ(Failure("event 'x'", "shm_open", EACCES, "run as root").what(),
                 "event 'x': shm_open: Permission denied (EACCES); run as root");
    EXPECT_STREQ(Failure("event 'x'", "shm_open", ENOENT).what(),
                 "event 'x': shm_open: No such file or directory (ENOENT)");
    EXPECT_STREQ(Failure("event 'x'", "", "held up", "wait").what(), "event 'x': held up; wait");
    EXPECT_EQ(errorText(99999), "error 99999");
}

}  // namespace
