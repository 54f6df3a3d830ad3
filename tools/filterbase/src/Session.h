#pragma once

#include "Arguments.h"

#include <assets/AssetDatabaseService.h>
#include <filterbase/FilterManager.h>

#include <memory>

namespace Tesk::Command {

/// An open catalogue with the services that the library expects.
///
/// Errors: a CommandError that says why the catalogue cannot be opened, and what to do.
class Session
{
public:
    enum class Access {
        Read,   ///< nothing is written, whatever rules the manager applies on opening
        Write,  ///< an existing catalogue
        Create, ///< a catalogue that need not exist
        Try,    ///< what is written is thrown away; the catalogue need not exist
    };

    Session(const Arguments &arguments, Access access);
    ~Session();
    Q_DISABLE_COPY_MOVE(Session)

    Assets::AssetDatabaseService &database() { return *m_database; }
    FilterBase::FilterManager &manager();

    /// Closes the catalogue, and deletes a file that this session made.
    void abandon();

    /// Catches what the database and the registry raise, for main().
    static int guarded(int (*command)(const Arguments &), const Arguments &arguments);

    /// The file that is used when none is named.
    static QString defaultCatalogue();

private:
    std::unique_ptr<Assets::Store> openStore(Access access);
    void close();

    QString m_path;
    bool m_isNewFile = false;
    std::shared_ptr<Assets::AssetDatabaseService> m_database;
    std::unique_ptr<Assets::AssetDatabaseService::BatchScope> m_scope; // never committed
    std::unique_ptr<FilterBase::FilterManager> m_manager;
};

} // namespace Tesk::Command
