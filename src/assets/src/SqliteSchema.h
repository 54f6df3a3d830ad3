#pragma once

#include "SqliteConnection.h"

#include <QString>

#include <functional>

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

/// Raises Damaged for what runs by itself when the file is read or written, and is not of ours:
/// views, triggers, virtual tables.
void requireOwnCode(const Place &place, SqliteConnection &connection);

/// Applies the steps to the newest schema, each in a transaction of its own.
///
/// Calls \a keep with the version found inside the first of them, before anything is changed;
/// not at all where another process was faster.
void migrate(SqliteConnection &connection, const std::function<void(int version)> &keep);

} // namespace SqliteSchema
} // namespace Tesk::Assets
