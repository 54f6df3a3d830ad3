#pragma once

#include "NoteAsset.h"

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/MemoryStore.h>
#include <support/Printers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace Tesk::Assets {

void PrintTo(const AssetReference &reference, std::ostream *stream);

/// An open database over a memory store, which can be closed and opened again.
class DatabaseFixture : public testing::Test
{
protected:
    DatabaseFixture();
    ~DatabaseFixture() override;

    std::shared_ptr<NoteAsset> insertNote(const QByteArray &id, const QString &text = {},
                                          const QString &name = {});
    std::shared_ptr<CollectionAsset> collection(const QByteArray &id);

    /// Closes the database, and opens what it stored.
    void reopen();

    /// Returns a second database on the same content, as another process would have.
    std::shared_ptr<AssetDatabaseService> openAnother() const;

    std::shared_ptr<NoteAsset> note(const QByteArray &id) const;

    MemoryStore store; ///< a view of what is stored
    std::shared_ptr<AssetDatabaseService> service;
};

} // namespace Tesk::Assets
