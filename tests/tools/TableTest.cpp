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

TEST(TableTest, cutsTheWidestColumnToTheTerminal)
{
    Table table({QStringLiteral("A"), QStringLiteral("B")});
    table.addRow({QStringLiteral("0123456789"), QStringLiteral("short")});

    const QStringList lines = table.toText(15).split(u'\n');

    EXPECT_EQ(lines[1], QStringLiteral("0123456") + QChar(0x2026) + QStringLiteral("  short"));
}

TEST(TableTest, letsNoControlCharacterThrough)
{
    Table table({QStringLiteral("A")});
    table.addRow({QStringLiteral("x\033[31m\ny")});

    EXPECT_EQ(table.toText(80), QStringLiteral("A\nx [31m y\n"));
}

} // namespace Tesk::Command
