#pragma once

#include "SqliteFixture.h"

#include <QVariant>

namespace Tesk::Assets {

/// Files of schemas 1 and 2, and what is in them.
class OlderFileTest : public SqliteStoreTest
{
protected:
    /// Makes the file anew, as the program of \a schema left it.
    ///
    /// Asset "a" has metadata of every type, "other" has two items, "old" and "list" have none.
    void makeFile(int schema);

    /// Checks that a store shows all metadata, in each way in which it can be asked.
    static void expectMetaData(const Store &store);
};

} // namespace Tesk::Assets
