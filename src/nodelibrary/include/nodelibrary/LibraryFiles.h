#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/Problem.h>

#include <QString>

#include <filesystem>
#include <vector>

namespace Tesk::NodeLibrary {

/// The node library files under a path, in the order in which they are read.
struct NODELIBRARY_EXPORT LibraryFiles
{
    struct File
    {
        std::filesystem::path path;
        QString filePath;     ///< the same as text
        QString relativePath; ///< below the folder, "/" between the parts; the name of a lone file
    };

    std::vector<File> files;
    Problems problems; ///< folders that cannot be read, a path that does not exist

    /// Lists every file below \a root whose name ends in ".mtlx", or \a root itself if it is a file.
    ///
    /// The order is that of the bytes of the relative paths, the same on every machine.
    /// Links to folders are not followed, so a link cannot make the walk endless.
    static LibraryFiles below(const QString &root);
};

} // namespace Tesk::NodeLibrary
