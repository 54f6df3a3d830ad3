#include "Session.h"

#include "CommandError.h"
#include "Terminal.h"

#include <assets/MemoryStore.h>
#include <assets/SqliteStore.h>
#include <filterbase/SerializationRegistration.h>
#include <nodelibrary/NodeDefAsset.h>
#include <vantbase/Exception.h>
#include <vantbase/Logger.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <exception>

namespace Tesk::Command {

using Assets::AssetDatabaseService;
using Assets::SqliteStore;

// Errors are told by the one who catches them.
static void showWarning(const VantBase::LogMessage &message)
{
    if (message.level == VantBase::LogLevel::Warning)
        Terminal::printError(
                QStringLiteral("filterbase: warning: %1\n")
                        .arg(Terminal::harmless(QString::fromStdString(message.text))));
}

QString Session::defaultCatalogue()
{
    QString named = qEnvironmentVariable("FILTERBASE_CATALOGUE");
    if (!named.isEmpty())
        return named;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
           + QStringLiteral("/filterbase/catalogue.db");
}

Session::Session(const Arguments &arguments, Access access)
    : m_path(arguments.catalogue)
{
    VantBase::setLogSink(&showWarning);
    FilterBase::Serialization::prepareSerialization();
    NodeLibrary::NodeDefAsset::registerClass();
    m_database = AssetDatabaseService::open(openStore(access));
    VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(),
                                                         m_database);
    // The manager hides what its rules say; a reading command must not store that.
    if (access == Access::Read || access == Access::Try)
        m_scope = std::make_unique<AssetDatabaseService::BatchScope>(*m_database);
}

// Made when it is asked for: a check of the file comes before it.
FilterBase::FilterManager &Session::manager()
{
    if (!m_manager)
        m_manager = std::make_unique<FilterBase::FilterManager>();
    return *m_manager;
}

Session::~Session()
{
    close();
}

std::unique_ptr<Assets::Store> Session::openStore(Access access)
{
    const bool exists = QFileInfo::exists(m_path);
    if (QFileInfo(m_path).isDir())
        throw CommandError(
                NoCatalogue,
                QStringLiteral("the catalogue \"%1\" is a folder; name a file in it, "
                               "such as \"%2\"")
                        .arg(m_path, QDir(m_path).filePath(QStringLiteral("catalogue.db"))));
    if (access == Access::Try && !exists)
        return std::make_unique<Assets::MemoryStore>();
    if (access != Access::Create) {
        if (!exists)
            throw CommandError(NoCatalogue,
                               QStringLiteral("there is no catalogue \"%1\"; make one with "
                                              "\"filterbase import PATH\" or name one with "
                                              "\"--catalogue FILE\"")
                                       .arg(m_path));
        return std::make_unique<SqliteStore>(m_path, access == Access::Write
                                                             ? SqliteStore::Mode::Open
                                                             : SqliteStore::Mode::ReadOnly);
    }
    m_isNewFile = !exists;
    if (m_isNewFile)
        QDir().mkpath(QFileInfo(m_path).absolutePath());
    return std::make_unique<SqliteStore>(m_path, SqliteStore::Mode::OpenOrCreate);
}

void Session::close()
{
    if (!m_database)
        return;
    m_manager.reset();
    m_scope.reset();
    VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    m_database->close();
    m_database.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void Session::abandon()
{
    close();
    if (!m_isNewFile)
        return;
    for (const char *ending : {"", "-wal", "-shm"})
        QFile::remove(m_path + QLatin1StringView(ending));
}

static int tell(ExitCode code, const char *text)
{
    Terminal::printError(
            QStringLiteral("filterbase: %1\n").arg(Terminal::harmless(QString::fromUtf8(text))));
    return code;
}

static int tellRaised(const char *text)
{
    tell(NoCatalogue, text);
    if (QLatin1StringView(text).startsWith(QLatin1StringView("Cannot read")))
        Terminal::printError(
                QStringLiteral("\"filterbase check\" tells what is wrong with the "
                               "catalogue, \"filterbase check --repair\" mends what can "
                               "be mended.\n"));
    return NoCatalogue;
}

int Session::guarded(int (*command)(const Arguments &), const Arguments &arguments)
{
    try {
        const int code = command(arguments);
        const QString error = Terminal::outputError();
        if (error.isEmpty())
            return code;
        throw CommandError(Negative,
                           QStringLiteral("the answer could not be written: %1").arg(error));
    } catch (const CommandError &error) {
        return tell(error.code(), error.what());
    } catch (const Exception::BaseException &error) {
        return tellRaised(error.what());
    } catch (const std::exception &error) {
        return tell(NoCatalogue, error.what());
    }
}

} // namespace Tesk::Command
