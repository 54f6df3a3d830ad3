#pragma once

#include <QString>
#include <QStringList>

namespace Tesk::Command {

/// How the command ends; scripts may rely on the numbers.
enum ExitCode : int {
    Done = 0,
    Negative = 1,      ///< something was refused, not found, not in order, or not written
    WrongUse = 2,      ///< the arguments make no sense
    NoCatalogue = 3,   ///< the catalogue cannot be opened, read or written
    Interrupted = 130, ///< stopped by the user; the catalogue is as it was
};

/// What the user wrote, whatever the subcommand; each reads its own part.
struct Arguments
{
    QString catalogue; ///< path of the file
    bool json = false;

    QStringList paths; ///< import
    QString library;
    QString nameOverride;
    bool groupByNodeGroup = false;
    bool dryRun = false;

    QString name;           ///< the filter; the pattern of list
    bool namesOnly = false; ///< list
    QString usage;          ///< pick, why
    QString type;
    QStringList settings; ///< "PARAM=VALUE"

    bool repair = false; ///< check
};

} // namespace Tesk::Command
