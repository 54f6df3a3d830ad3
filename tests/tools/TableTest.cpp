#include "Table.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::Command {

TEST(TableTest, linesColumnsUp)
{
    Table table({QStringLiteral("A"), QStringLiteral("LONG")});
    table.addRow({QStringLiteral("wide cell"), QStringLiteral("x")});

    EXPECT_EQ(table.toText(80), QStringLiteral("A          LONG\nwide cell  x\n"));
}

TEST(TableTest, wrapsTheWidestColumnToTheTerminal)
{
    Table table({QStringLiteral("A"), QStringLiteral("B")});
    table.addRow({QStringLiteral("0123456789"), QStringLiteral("short")});
    table.addRow({QStringLiteral("next"), QStringLiteral("row")});

    EXPECT_EQ(table.toText(15), QStringLiteral("A         B\n"
                                               "01234567  short\n"
                                               "89\n"
                                               "next      row\n"));
}

TEST(TableTest, narrowsNoColumnBeyondReading)
{
    Table table({QStringLiteral("A"), QStringLiteral("B")});
    table.addRow({QStringLiteral("0123456789"), QStringLiteral("0123456789")});

    EXPECT_EQ(table.toText(3).section(u'\n', 1, 1), QStringLiteral("012345  012345"));
}

TEST(TableTest, letsNoControlCharacterThrough)
{
    Table table({QStringLiteral("A")});
    table.addRow({QStringLiteral("x\033[31m\ny")});

    EXPECT_EQ(table.toText(80), QStringLiteral("A\nx [31m y\n"));
}

} // namespace Tesk::Command
