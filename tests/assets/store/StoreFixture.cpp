#include "StoreFixture.h"

namespace Tesk::Assets {

StoreTest::StoreTest()
    : m_source(GetParam().make())
    , m_store(m_source->open())
{}

StoreTest::~StoreTest() = default;

qint64 StoreTest::put(const QByteArray &id, const QString &className, const QString &name,
                      std::optional<QByteArray> body)
{
    const AssetWrite write = assetWrite(id, className, name, std::move(body));
    return store().write({&write, 1}).front();
}

std::optional<AssetRow> StoreTest::row(const QByteArray &id)
{
    return store().loadRows({&id, 1}).front();
}

std::optional<QByteArray> StoreTest::body(const QByteArray &id)
{
    const std::optional<StoredAsset> asset = store().load({&id, 1}).front();
    return asset && asset->body ? std::optional(asset->body->data) : std::nullopt;
}

std::vector<QByteArray> StoreTest::itemsOf(const QByteArray &collection)
{
    std::vector<QByteArray> ids;
    for (const CatalogueRow &item : store().scanCollection(collection))
        ids.push_back(item.id);
    return ids;
}

AssetWrite assetWrite(const QByteArray &id, const QString &className, const QString &name,
                      std::optional<QByteArray> body)
{
    AssetWrite write;
    write.row.id = id;
    write.row.className = className;
    write.row.name = name;
    if (body)
        write.body = BodyRow{BodyRow::sCbor, *body};
    return write;
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, testing::ValuesIn(allStoreKinds()),
                         [](const auto &kind) { return kind.param.name; });

} // namespace Tesk::Assets
