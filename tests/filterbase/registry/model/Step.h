#pragma once

#include "../Operation.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace FilterBaseTesting {

/// The \a call-th time, counted from 1, that the asset is asked in a step, it throws.
struct Fault
{
    QByteArray id = {};
    Operation operation = Operation::Category;
    int call = 1;
};

/// The first write of the asset that reaches the store in a step is refused.
struct Refusal
{
    QByteArray id = {};    ///< empty: of any asset
    bool atCommit = false; ///< not when it is written, but when its transaction is to be stored
};

/// One thing that happens to a catalogue; an empty id is a null reference.
struct Step
{
    enum class Kind {
        // what the host does to its assets
        AddFilter,         ///< id, name, text: what it answers as variation
        AddImplementation, ///< id, name, text: its variations; key: where; other: the older version
        AddBare,           ///< id, name: of category "filter", but no class of filter
        AddPlain,          ///< id, name
        AddDescriptor,     ///< id, name, ids: the list
        Remove,            ///< id
        Link,              ///< id, other: the newer one
        Rename,            ///< id, name
        RecordName,        ///< id, name: for the database alone
        SetItem,           ///< id, key, text
        Show,              ///< id
        // what the registry is asked for
        Import,      ///< ids, name: the override
        Register,    ///< id, name
        Declare,     ///< id
        MakeDesc,    ///< name
        FindDynamic, ///< id
        Collect,     ///< id
        Uncollect,   ///< id
        // managers
        NewManager, ///< makes the manager anew
        Restart,    ///< ids: what is removed before; closes the database, opens it again
        // batch scopes; who took part in one that was not stored is made anew with it
        BeginScope,
        SpoilScope, ///< opens one inside, and leaves it without commit
        CommitScope,
        LeaveScope, ///< without commit
    };

    Kind kind = Kind::Restart;
    int manager = 0;       ///< which of the two
    bool onWorker = false; ///< on a thread of its own, while the main thread is blocked
    bool isInternal = false;
    QByteArray id = {};
    QByteArray other = {};
    std::vector<QByteArray> ids = {};
    QString name = {};
    QString key = {};
    QString text = {};
    std::optional<Fault> fault = {};
    std::optional<Refusal> refusal = {};

    std::string describe() const;
};

/// What a step shows to the outside.
struct Outcome
{
    std::vector<std::string> results; ///< the ids that were returned
    std::string exception;            ///< class and text; empty when nothing was thrown
    std::vector<std::string> records; ///< service, level, place and text of each log record
    std::vector<std::string> hides;   ///< what hideAsset() was called for, and on which thread

    std::vector<std::string> lines() const;
};

} // namespace FilterBaseTesting
