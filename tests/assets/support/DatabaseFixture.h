#pragma once

#include "NoteAsset.h"
#include "StoreSource.h"

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/Store.h>
#include <support/Printers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace Tesk::Assets {

void PrintTo(const AssetReference &reference, std::ostream *stream);

/// An open database, which can be closed and opened again; each test runs over every store.
class DatabaseFixture : public testing::TestWithParam<StoreKind>
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

    const std::unique_ptr<StoreSource> source;
    const std::unique_ptr<Store> view;
    Store &store = *view; ///< a view of what is stored
    std::shared_ptr<AssetDatabaseService> service;
};

/// Runs a suite of the fixture once for each kind of store.
#define ASSETS_FOR_EVERY_STORE(Suite)                                                              \
    INSTANTIATE_TEST_SUITE_P(Stores, Suite, testing::ValuesIn(allStoreKinds()),                    \
                             [](const auto &kind) { return kind.param.name; })

} // namespace Tesk::Assets
