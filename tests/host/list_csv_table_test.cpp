#include "host/list/csv_table.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct CsvTable {
    std::vector<kelpo::CsvRow> rows{};
    std::vector<kelpo::CsvMistake> mistakes{};
};

CsvTable csv_table(std::string_view text) {
    CsvTable table;
    kelpo::CsvReader reader(text, [&table](const kelpo::CsvMistake &mistake) { table.mistakes.push_back(mistake); });
    while (const kelpo::CsvRow *const row = reader.next())
        table.rows.push_back(*row);
    return table;
}

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

TEST(CsvTable, KeepsTheFirstThousandFieldsOfARecordAndCountsThem) {
    const CsvTable table = csv_table("a\n" + std::string(5000, ',') + "b\n" + std::string(998, ',') + "b\n");
    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(table.rows[0].count, 1U);
    EXPECT_EQ(table.rows[1].count, 999U);
    EXPECT_EQ(table.rows[1].fields.size(), 999U);
    const CsvTable long_record = csv_table("a\nb" + std::string(5000, ','));
    ASSERT_EQ(long_record.rows.size(), 2U);
    EXPECT_EQ(long_record.rows[1].count, 5001U);
    EXPECT_EQ(long_record.rows[1].fields.size(), 1000U);
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
