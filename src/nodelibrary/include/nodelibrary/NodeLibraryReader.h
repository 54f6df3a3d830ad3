#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/Problem.h>

#include <QByteArray>
#include <QString>

#include <functional>
#include <vector>

namespace Tesk::NodeLibrary {

/// What the files of a node library define, as they are written.
struct NODELIBRARY_EXPORT NodeLibrary
{
    std::vector<NodeDef> nodeDefs; ///< in canonical order: that of the files, then of each file
    Problems problems;
    int fileCount = 0;        ///< files that were tried, the refused ones included
    bool isCancelled = false; ///< then nothing here may be relied on
};

/// Reads node libraries: folders of ".mtlx" files in the MaterialX format.
///
/// A file counts whole or not at all: one that is not well-formed contributes nothing. Bad
/// content never throws; it is reported and the rest goes on. Inheritance is not followed here,
/// since a base may stand in another library.
///
/// Threads: usable from any thread; two readers share nothing.
class NODELIBRARY_EXPORT NodeLibraryReader
{
public:
    /// Told of the files done and to do, before each file and at the end; false stops the reading.
    using Progress = std::function<bool(int done, int total)>;

    /// Reads every ".mtlx" file below the folder \a path, or the one file \a path.
    static NodeLibrary readPath(const QString &path, const Progress &progress = {});

    /// Reads \a bytes as the content of one file, called \a fileName in the problems.
    static NodeLibrary readBytes(const QByteArray &bytes, const QString &fileName);
};

} // namespace Tesk::NodeLibrary
