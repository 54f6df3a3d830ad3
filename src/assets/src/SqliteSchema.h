#pragma once

#include "SqliteConnection.h"

#include <QString>

namespace Tesk::Assets {

/// What makes an SQLite file a database of ours: its marks, its tables, its migrations.
///
/// Errors: StoreError.
namespace SqliteSchema {

constexpr quint32 sApplicationId = 0x5465736b; // "Tesk", in the header of the file
constexpr int sPageSize = 8192;

struct State
{
    quint32 applicationId = 0;
    int version = 0;      ///< 0: no schema
    bool isEmpty = false; ///< no table at all
};

/// Reads the marks of the file; the first read of it.
State inspect(SqliteConnection &connection);

/// Raises NotADatabase or NewerSchema for a file that this version cannot read.
void requireKnown(const Place &place, SqliteConnection &connection, const State &state);

/// Sets what a writing connection needs, and reads it back.
void configure(SqliteConnection &connection);
void configureReading(SqliteConnection &connection);

/// Sets a pragma and raises when it did not take.
void setPragma(SqliteConnection &connection, const char *name, const char *value,
               const QString &expected);

/// Makes the tables, in one transaction, unless somebody else was faster.
void create(SqliteConnection &connection);

/// Applies the steps from \a version to the newest, each in a transaction of its own.
void migrate(SqliteConnection &connection, int version);

} // namespace SqliteSchema
} // namespace Tesk::Assets
