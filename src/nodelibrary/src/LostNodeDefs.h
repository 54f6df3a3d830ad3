#pragma once

#include <nodelibrary/HeldCatalogue.h>
#include <nodelibrary/LibraryDiff.h>
#include <nodelibrary/Problem.h>

#include <QString>

#include <vector>

namespace Tesk::NodeLibrary {

/// What leaves the catalogue because its file could not be read, which nobody may have meant.
struct LostNodeDefs
{
    /// A file or folder of a library that contributes nothing.
    struct RefusedFile
    {
        QString library;
        QString filePath;
        QString relativePath; ///< below the library's folder
    };

    /// A remark for each of \a refused that brought nodedefs which \a read has no more.
    static Problems find(const std::vector<RefusedFile> &refused, const HeldCatalogue &held,
                         const std::vector<ReadLibrary> &read);
};

} // namespace Tesk::NodeLibrary
