#include "CatalogueProcess.h"

#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QProcessEnvironment>

#include <linux/capability.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace Tesk::Command {

static constexpr int sTimeout = 120'000;
static constexpr int sCannotRun = 127;

QJsonObject Outcome::json() const
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(output.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << output.toStdString();
    return document.object();
}

Outcome CatalogueProcess::run(const QStringList &arguments) const
{
    return runPlain(QStringList{QStringLiteral("--catalogue"), catalogue()} + arguments);
}

static QProcessEnvironment environmentWith(const QStringList &variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("FILTERBASE_CATALOGUE"));
    for (const QString &variable : variables)
        environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    return environment;
}

Outcome CatalogueProcess::runPlain(const QStringList &arguments, const QStringList &variables) const
{
    QProcess process;
    process.setProcessEnvironment(environmentWith(variables));
    process.start(QStringLiteral(COMMAND_FILE), arguments);
    return finish(process);
}

Outcome CatalogueProcess::runIn(const QString &folder, const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(folder);
    return finishOnCatalogue(process, arguments);
}

Outcome CatalogueProcess::runInto(const QString &file, const QStringList &arguments) const
{
    QProcess process;
    process.setStandardOutputFile(file);
    return finishOnCatalogue(process, arguments);
}

// For root nothing is read-only, unless it goes without the right to pass over permissions.
Outcome CatalogueProcess::runUnprivileged(const QStringList &arguments) const
{
    QProcess process;
    if (::geteuid() == 0)
        process.setChildProcessModifier([] {
            if (::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) != 0
                || ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) != 0)
                ::_exit(sCannotRun);
        });
    return finishOnCatalogue(process, arguments);
}

Outcome CatalogueProcess::finishOnCatalogue(QProcess &process, const QStringList &arguments) const
{
    process.setProcessEnvironment(environmentWith({}));
    process.start(QStringLiteral(COMMAND_FILE),
                  QStringList{QStringLiteral("--catalogue"), catalogue()} + arguments);
    return finish(process);
}

Outcome CatalogueProcess::finish(QProcess &process)
{
    Outcome outcome;
    if (!process.waitForFinished(sTimeout) || process.exitStatus() != QProcess::NormalExit) {
        ADD_FAILURE() << "the command did not end by itself";
        return outcome;
    }
    outcome.exitCode = process.exitCode();
    outcome.output = QString::fromUtf8(process.readAllStandardOutput());
    outcome.errors = QString::fromUtf8(process.readAllStandardError());
    return outcome;
}

void CatalogueProcess::importSamples() const
{
    const Outcome outcome = run({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors.toStdString();
}

QByteArray CatalogueProcess::catalogueBytes() const
{
    QFile file(catalogue());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void CatalogueProcess::execute(const char *statements) const
{
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(catalogue().toUtf8().constData(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
    sqlite3_close(database);
}

void CatalogueProcess::writeLibrary(const QString &name, const QByteArray &body) const
{
    writeFile(name, "<materialx version=\"1.39\">" + body + "</materialx>");
}

void CatalogueProcess::writeFile(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray CatalogueProcess::overload(const QByteArray &name, const QByteArray &node,
                                      const QByteArray &type, const QByteArray &more)
{
    return "<nodedef name=\"" + name + "\" node=\"" + node + "\" " + more
           + "><input name=\"in\" type=\"" + type + "\"/><output name=\"out\" type=\"" + type
           + "\"/></nodedef>";
}

} // namespace Tesk::Command
