#include "host/list/csv_table.h"

#include <gmock/gmock.h>

namespace {

using kelpo::csv_table;
using kelpo::CsvTable;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::vector<std::string>> fields_of(const CsvTable &table) {
    std::vector<std::vector<std::string>> rows;
    for (const kelpo::CsvRow &row : table.rows)
        rows.push_back(row.fields);
    return rows;
}

std::vector<int> lines_of(const CsvTable &table) {
    std::vector<int> lines;
    for (const kelpo::CsvRow &row : table.rows)
        lines.push_back(row.line);
    return lines;
}

TEST(CsvTable, TakesTheSeparatorThatTheFirstRecordHasMostOf) {
    EXPECT_THAT(fields_of(csv_table("a,b\n1,2;3")), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2;3")));
    EXPECT_THAT(fields_of(csv_table("a;b;c,d\n1;2;3,4")),
                ElementsAre(ElementsAre("a", "b", "c,d"), ElementsAre("1", "2", "3,4")));
    EXPECT_THAT(fields_of(csv_table("a\tb\n1\t\n")), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "")));
    EXPECT_THAT(fields_of(csv_table("\"a,b,c\";d\n")), ElementsAre(ElementsAre("a,b,c", "d")));
}

TEST(CsvTable, TakesTheSeparatorThatAFirstLineNames) {
    const CsvTable table = csv_table("sep=;\r\na,b;c\r\n");
    EXPECT_THAT(fields_of(table), ElementsAre(ElementsAre("a,b", "c")));
    EXPECT_THAT(lines_of(table), ElementsAre(2));
}

TEST(CsvTable, TakesAnythingInsideQuotes) {
    const CsvTable table = csv_table("a,b\n\"one, \"\"two\"\"\nthree\" , 4\n5,6\n");
    EXPECT_THAT(fields_of(table),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("one, \"two\"\nthree", "4"), ElementsAre("5", "6")));
    EXPECT_THAT(lines_of(table), ElementsAre(1, 2, 4));
    EXPECT_THAT(table.mistakes, IsEmpty());
}

TEST(CsvTable, TakesEveryLineEnd) {
    EXPECT_THAT(fields_of(csv_table("a,b\r\n1,2\r\n")), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
    EXPECT_THAT(fields_of(csv_table("a,b\r1,2\r")), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
    EXPECT_THAT(fields_of(csv_table("a,b\n1,2")), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
}

TEST(CsvTable, LeavesOutCommentsAndLinesWithoutContent) {
    const CsvTable table = csv_table("# tags\n\n a , b \n  \n,,\n# more, of them\n1,2\n");
    EXPECT_THAT(fields_of(table), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
    EXPECT_THAT(lines_of(table), ElementsAre(3, 7));
}

TEST(CsvTable, ReportsAQuoteThatIsNeverClosed) {
    const CsvTable table = csv_table("a,b\n1,\"2\n3,4\n");
    ASSERT_EQ(table.mistakes.size(), 1U);
    EXPECT_EQ(table.mistakes[0].line, 2);
    EXPECT_EQ(table.mistakes[0].text, "a quote is never closed; put \" after the field");
}

TEST(CsvTable, ReportsTextAfterAClosingQuote) {
    const CsvTable table = csv_table("a,b\n\"1\"x,2\n");
    ASSERT_EQ(table.mistakes.size(), 1U);
    EXPECT_EQ(table.mistakes[0].line, 2);
    EXPECT_EQ(table.mistakes[0].text, "text after a closing quote; a quote inside a field is doubled");
    EXPECT_THAT(fields_of(table), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
}

TEST(CsvTable, HasNoRowsWhenThereIsNoContent) {
    for (const char *text : {"", "\n\n", "# nothing", "sep=;", "sep=;\r"})
        EXPECT_THAT(csv_table(text).rows, IsEmpty()) << text;
}

}  // namespace
