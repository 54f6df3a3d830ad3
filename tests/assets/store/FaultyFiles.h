#pragma once

#include <QByteArray>

#include <vector>

namespace Tesk::Assets {

/// A file layer of SQLite that counts writes and syncs, and fails where it is told to.
///
/// Registered once; everything is off until arm(). Threads: one at a time.
namespace FaultyFiles {

enum class File { Main, Log, Other };

/// The name to open a store with.
QByteArray name();

/// Lets the call number \a call from here on, counted from 1, fail with \a code of SQLite.
///
/// With \a forEver every later one fails too. 0 fails none and only counts.
void arm(int call, int code, bool forEver = false);
void disarm();

/// Keeps every lock of a file from who asks for it, as if somebody else had it.
void refuseLocks(bool refuse);

/// Returns the calls since arm().
int calls();

/// Returns whether the call that was to fail has come.
bool hasFailed();

/// Returns the files that were synced since arm(), in order.
std::vector<File> syncs();

} // namespace FaultyFiles
} // namespace Tesk::Assets
