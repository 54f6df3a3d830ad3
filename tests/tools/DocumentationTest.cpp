#include "CatalogueProcess.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <map>

namespace Tesk::Command {

namespace {

QString contentOf(const char *path)
{
    QFile file(QStringLiteral(SOURCE_FOLDER "/") + QString::fromLatin1(path));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path;
    return QString::fromUtf8(file.readAll());
}

QSet<QString> matchesOf(const QString &pattern, const QString &text)
{
    QSet<QString> found;
    QRegularExpressionMatchIterator matches =
            QRegularExpression(pattern, QRegularExpression::MultilineOption).globalMatch(text);
    while (matches.hasNext())
        found.insert(matches.next().captured(1));
    return found;
}

QSet<QString> linesOf(const QString &text)
{
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    return {lines.begin(), lines.end()};
}

class DocumentationTest : public CatalogueProcess
{
protected:
    // What the command itself says: its subcommands, and the options of each.
    std::map<QString, QSet<QString>> optionsByCommand() const
    {
        const QString help = run({QStringLiteral("--help")}).output;
        std::map<QString, QSet<QString>> options;
        const QString commands = help.section(QStringLiteral("Subcommands:"), 1);
        for (const QString &command : matchesOf(QStringLiteral("^  ([a-z]+)  "), commands))
            options[command] = optionsIn(run({command, QStringLiteral("--help")}).output);
        return options;
    }

    static QSet<QString> optionsIn(const QString &help)
    {
        QSet<QString> options = matchesOf(QStringLiteral("^  (?:-[a-z],)?(--[a-z-]+)"),
                                          help.section(QStringLiteral("Options:"), 1));
        options.remove(QStringLiteral("--help"));
        return options;
    }

    // What the completion offers behind \a words, the last of which is being written.
    QSet<QString> completionOf(const QStringList &words) const
    {
        QProcess bash;
        bash.start(
                QStringLiteral("bash"),
                QStringList{QStringLiteral("-c"),
                            QStringLiteral("script=$1; shift; . \"$script\"; "
                                           "COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
                                           "_filterbase; printf '%s\\n' \"${COMPREPLY[@]}\""),
                            QStringLiteral("bash"),
                            QStringLiteral(SOURCE_FOLDER "/tools/filterbase/completion/filterbase"),
                            QStringLiteral(COMMAND_FILE)}
                        + words);
        EXPECT_TRUE(bash.waitForFinished());
        return linesOf(QString::fromUtf8(bash.readAllStandardOutput()));
    }
};

const QSet<QString> sCommonOptions{QStringLiteral("--help"), QStringLiteral("--json"),
                                   QStringLiteral("--catalogue")};

} // namespace

TEST_F(DocumentationTest, completesTheCommandsThatThereAre)
{
    QSet<QString> commands;
    for (const auto &[command, options] : optionsByCommand())
        commands.insert(command);

    EXPECT_EQ(commands.size(), 13);
    EXPECT_EQ(completionOf({QString()}), commands);
}

TEST_F(DocumentationTest, completesTheOptionsThatThereAre)
{
    for (const auto &[command, options] : optionsByCommand())
        EXPECT_EQ(completionOf({command, QStringLiteral("--")}), options + sCommonOptions)
                << command.toStdString();
    EXPECT_EQ(completionOf({QStringLiteral("--")}),
              sCommonOptions + QSet<QString>{QStringLiteral("--version")});
}

TEST_F(DocumentationTest, completesTheNamesOfFilters)
{
    importSamples();

    EXPECT_EQ(completionOf({QStringLiteral("--catalogue"), catalogue(), QStringLiteral("show"),
                            QStringLiteral("edge_w")}),
              (QSet<QString>{QStringLiteral("edge_wear"), QStringLiteral("edge_wear_metal"),
                             QStringLiteral("edge_wear_paint")}));
}

TEST_F(DocumentationTest, describesEveryCommandAndOptionInTheManualPage)
{
    const QString page = contentOf("tools/filterbase/filterbase.1")
                                 .replace(QStringLiteral("\\-"), QStringLiteral("-"));
    const QString commands = page.section(QStringLiteral(".SH COMMANDS"), 1)
                                     .section(QStringLiteral(".SH EXIT STATUS"), 0, 0);
    const std::map<QString, QSet<QString>> known = optionsByCommand();
    QSet<QString> described;
    for (const QString &entry : commands.split(QStringLiteral(".TP\n"), Qt::SkipEmptyParts)) {
        const QString heading = entry.section(u'\n', 0, 0);
        const QSet<QString> names = matchesOf(QStringLiteral("\\\\fB([a-z]+)\\\\fR"), heading);
        for (const QString &name : names) {
            described.insert(name);
            ASSERT_TRUE(known.contains(name)) << name.toStdString();
            EXPECT_EQ(matchesOf(QStringLiteral("(--[a-z-]+)"), heading), known.at(name))
                    << name.toStdString();
        }
    }
    EXPECT_EQ(described.size(), static_cast<qsizetype>(known.size()));
}

// Each part between two "..." at line ends must stand in the output as it is, one part behind the other.
static void expectLike(const QString &shown, const QString &actual)
{
    qsizetype at = 0;
    for (const QString &part : shown.split(QStringLiteral("...\n"))) {
        const qsizetype found = actual.indexOf(part, at);
        EXPECT_GE(found, 0) << "not in the output: " << part.toStdString();
        at = std::max(found, at) + part.size();
    }
}

TEST_F(DocumentationTest, showsInTheReadmeWhatTheCommandPrints)
{
    const QString block = contentOf("README.md")
                                  .section(QStringLiteral("```text\n"), 1)
                                  .section(QStringLiteral("```"), 0, 0);
    QStringList lines;
    for (const QString &part : block.split(QStringLiteral("$ filterbase "), Qt::SkipEmptyParts)) {
        const QString line = part.section(u'\n', 0, 0);
        lines.append(QStringLiteral("show ") + line);
        const Outcome outcome = runIn(QStringLiteral(SOURCE_FOLDER), line.split(u' '));
        EXPECT_EQ(outcome.exitCode, 0) << line.toStdString();
        expectLike(part.section(u'\n', 1), outcome.output + u'\n');
    }

    EXPECT_EQ(lines.size(), 4);
    EXPECT_TRUE(contentOf("scripts/demo").endsWith(lines.join(u'\n') + u'\n'));
}

} // namespace Tesk::Command
