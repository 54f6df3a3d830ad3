#pragma once

#include <support/Printers.h>

#include <gtest/gtest.h>

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <string>

class QProcess;

namespace Tesk::Command {

/// What a run of the command left behind.
struct Outcome
{
    int exitCode = -1; ///< -1 when the process did not end by itself
    QString output;
    QString errors;

    QJsonObject json() const;
};

/// Drives the built command as a process, on a catalogue of its own.
class CatalogueProcess : public testing::Test
{
protected:
    /// Runs the command on the test's catalogue.
    Outcome run(const QStringList &arguments) const;

    /// The same in one line, the words parted by blanks.
    Outcome ask(const char *line) const { return run(QString::fromLatin1(line).split(u' ')); }
    std::string text(const char *line) const { return ask(line).output.toStdString(); }

    /// Runs the command with exactly these arguments and variables "NAME=VALUE" beside its own.
    Outcome runPlain(const QStringList &arguments, const QStringList &variables = {}) const;

    /// Runs the command on the test's catalogue in the folder \a folder.
    Outcome runIn(const QString &folder, const QStringList &arguments) const;

    /// Runs the command on the test's catalogue with its output going to \a file.
    Outcome runInto(const QString &file, const QStringList &arguments) const;

    /// The same on the test's catalogue, by a user who may write only what the permissions say.
    Outcome runUnprivileged(const QStringList &arguments) const;

    /// Imports the samples, and fails the test when that fails.
    void importSamples() const;

    QString catalogue() const { return m_folder.filePath(QStringLiteral("catalogue.db")); }
    QString path(const QString &name) const { return m_folder.filePath(name); }
    QByteArray catalogueBytes() const;

    /// Changes the catalogue's file behind the command's back.
    void execute(const char *statements) const;

    /// Writes a library file with \a body inside its root element.
    void writeLibrary(const QString &name, const QByteArray &body) const;
    void writeFile(const QString &name, const QByteArray &bytes) const;

    /// A nodedef with one input "in" and one output of \a type.
    static QByteArray overload(const QByteArray &name, const QByteArray &node,
                               const QByteArray &type, const QByteArray &more = {});

private:
    Outcome finishOnCatalogue(QProcess &process, const QStringList &arguments) const;
    static Outcome finish(QProcess &process);

    QTemporaryDir m_folder;
};

} // namespace Tesk::Command
