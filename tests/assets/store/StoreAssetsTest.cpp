#include "StoreFixture.h"

#include <assets/AssetCursor.h>

#include <QDateTime>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

TEST_P(StoreTest, returnsEveryPartOfAnAssetAsItWasWritten)
{
    AssetWrite write = assetWrite("asset://\xff\x00z", QStringLiteral("Tesk::X"),
                                  QString::fromUtf8("Größe \U0001F308"), QByteArray("a\0b", 3));
    write.row.classVersion = 7;
    write.row.category = QStringLiteral("filter");
    write.row.flags = 0x80000004U;
    write.body->encoding = 3;

    const std::vector<qint64> revisions = store().write({&write, 1});

    const auto found = store().load({&write.row.id, 1});
    ASSERT_TRUE(found.front());
    EXPECT_EQ(found.front()->body, write.body);
    AssetRow expected = write.row;
    expected.revision = revisions.front();
    expected.createdMs = found.front()->row.createdMs;
    expected.modifiedMs = found.front()->row.modifiedMs;
    EXPECT_EQ(found.front()->row, expected);
    EXPECT_EQ(row(write.row.id), expected);
}

TEST_P(StoreTest, keepsIdsThatDifferInAByteApart)
{
    const QByteArray first("id\0a", 4);
    const QByteArray second("id\0b", 4);
    put(first, QStringLiteral("First"));
    put(second, QStringLiteral("Second"));
    put("ID", QStringLiteral("Third"));

    EXPECT_EQ(row(first)->className, QStringLiteral("First"));
    EXPECT_EQ(row(second)->className, QStringLiteral("Second"));
    EXPECT_FALSE(row("id"));
}

TEST_P(StoreTest, answersInTheOrderOfTheQuestion)
{
    put("a", QStringLiteral("A"));
    put("b", QStringLiteral("B"));

    const Ids ids{"b", "none", "a", "b"};
    const auto rows = store().loadRows(ids);

    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows[0]->className, QStringLiteral("B"));
    EXPECT_FALSE(rows[1]);
    EXPECT_EQ(rows[2]->className, QStringLiteral("A"));
    EXPECT_EQ(rows[3], rows[0]);
}

TEST_P(StoreTest, tellsAnEmptyBodyFromNone)
{
    put("none");
    put("empty", QStringLiteral("Filter"), {}, QByteArray(""));

    EXPECT_EQ(body("none"), std::nullopt);
    EXPECT_EQ(body("empty"), QByteArray());
}

TEST_P(StoreTest, leavesAloneWhatAWriteLeavesOut)
{
    AssetWrite first = assetWrite("a", QStringLiteral("Filter"), {}, QByteArray("body"));
    first.metaData = {MetaRow{QStringLiteral("key"), 3, 0, QStringLiteral("value")}};
    first.nextVersion = QByteArray("b");
    first.dependencies = {DependencyRow{"c", QStringLiteral("role")}};
    store().write({&first, 1});

    put("a", QStringLiteral("Filter"), QStringLiteral("Renamed"));

    const QByteArray id = "a";
    EXPECT_EQ(row(id)->name, QStringLiteral("Renamed"));
    EXPECT_EQ(body(id), QByteArray("body"));
    EXPECT_EQ(store().metaData({&id, 1}).front(), *first.metaData);
    EXPECT_EQ(store().nextVersions({&id, 1}).front(), QByteArray("b"));
    EXPECT_EQ(store().dependencies({&id, 1}).front(), *first.dependencies);
}

TEST_P(StoreTest, keepsTheFlagsOfAnAssetThatIsWrittenAgain)
{
    const QByteArray id = "a";
    put(id);
    store().setFlags({&id, 1}, StoreFlags::sHidden, StoreFlags::sHidden);

    put(id, QStringLiteral("Filter"), QStringLiteral("Again"));

    EXPECT_EQ(row(id)->flags, StoreFlags::sHidden);
}

TEST_P(StoreTest, keepsTheTimeOfCreation)
{
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    put("a");
    const qint64 created = row("a")->createdMs;
    put("a", QStringLiteral("Filter"), QStringLiteral("Again"));
    const qint64 after = QDateTime::currentMSecsSinceEpoch();

    EXPECT_EQ(row("a")->createdMs, created);
    EXPECT_LE(before, created);
    EXPECT_LE(created, row("a")->modifiedMs);
    EXPECT_LE(row("a")->modifiedMs, after);
}

TEST_P(StoreTest, givesEachWriteANewerRevision)
{
    const qint64 first = put("a");
    const qint64 second = put("a");
    const QByteArray id = "a";
    const AssetRemoval removal{id, {}};
    store().remove({&removal, 1});
    const qint64 third = put("a");

    EXPECT_GT(first, 0);
    EXPECT_GT(second, first);
    EXPECT_GT(third, second); // even after a removal: no old revision fits by chance
    EXPECT_EQ(row(id)->revision, third);
}

TEST_P(StoreTest, refusesAWriteOverARevisionThatIsNotTheExpectedOne)
{
    const qint64 old = put("a", QStringLiteral("Filter"), QStringLiteral("One"));
    put("a", QStringLiteral("Filter"), QStringLiteral("Two"));

    AssetWrite write = assetWrite("a", QStringLiteral("Filter"), QStringLiteral("Three"));
    write.expectedRevision = old;
    const StoreError error = raisedBy([&] { store().write({&write, 1}); });

    EXPECT_EQ(error.code(), StoreError::Code::Changed);
    EXPECT_EQ(error.assetId(), QByteArray("a"));
    EXPECT_EQ(QString::fromUtf8(error.what()),
              QStringLiteral("Cannot store asset \"a\": changed by someone else, revision %1 was "
                             "expected, %2 found; refresh, then try again")
                      .arg(QString::number(old), QString::number(row("a")->revision)));
    EXPECT_EQ(row("a")->name, QStringLiteral("Two"));
}

TEST_P(StoreTest, refusesToCreateWhatExistsWhenItMustBeNew)
{
    put("a");
    AssetWrite write = assetWrite("a");
    write.expectedRevision = 0;

    const StoreError error = raisedBy([&] { store().write({&write, 1}); });

    EXPECT_EQ(error.code(), StoreError::Code::Changed);
    EXPECT_STREQ(error.what(), "Cannot store asset \"a\": changed by someone else, it exists "
                               "already; refresh, then try again");
}

TEST_P(StoreTest, refusesToWriteOverWhatWasRemoved)
{
    AssetWrite write = assetWrite("a");
    write.expectedRevision = 4;

    const StoreError error = raisedBy([&] { store().write({&write, 1}); });

    EXPECT_EQ(error.code(), StoreError::Code::Changed);
    EXPECT_STREQ(error.what(), "Cannot store asset \"a\": changed by someone else, it was removed; "
                               "refresh, then try again");
    EXPECT_FALSE(row("a"));
}

TEST_P(StoreTest, writesNothingOfABatchThatFails)
{
    put("taken");
    const qint64 generation = store().generation();
    std::vector<AssetWrite> writes{assetWrite("new"), assetWrite("taken"), assetWrite("later")};
    writes[1].expectedRevision = 0;

    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::Changed);

    EXPECT_FALSE(row("new"));
    EXPECT_FALSE(row("later"));
    EXPECT_EQ(store().generation(), generation);
}

TEST_P(StoreTest, refusesWhatHasNoStoredForm)
{
    const auto refused = [this](AssetWrite write) {
        EXPECT_EQ(codeRaisedBy([&] { store().write({&write, 1}); }), StoreError::Code::Misuse);
    };
    const QString half(QChar(0xd800));

    refused(assetWrite(""));
    refused(assetWrite("a", QString()));
    refused(assetWrite("a", QStringLiteral("Filter"), half));
    AssetWrite badKey = assetWrite("a");
    badKey.metaData = {MetaRow{QString(), 3, 0, true}};
    refused(badKey);
    AssetWrite badValue = assetWrite("a");
    badValue.metaData = {MetaRow{QStringLiteral("key"), 3, 0, QVariantList{half}}};
    refused(badValue);
    AssetWrite twice = assetWrite("a");
    twice.metaData = {MetaRow{QStringLiteral("key"), 3, 0, 1},
                      MetaRow{QStringLiteral("key"), 3, 0, 2}};
    refused(twice);
    twice.metaData = {MetaRow{QStringLiteral("key"), 3, 0, 1},
                      MetaRow{QStringLiteral("a"), 3, 0, 1},
                      MetaRow{QStringLiteral("key"), 3, 0, 2}};
    refused(twice);
    AssetWrite badDependency = assetWrite("a");
    badDependency.dependencies = {DependencyRow{}};
    refused(badDependency);
    EXPECT_FALSE(row("a"));
}

TEST_P(StoreTest, removesAnAssetWithAllThatIsItsOwn)
{
    const QByteArray id = "a";
    AssetWrite write = assetWrite(id, QStringLiteral("Filter"), {}, QByteArray("body"));
    write.metaData = {MetaRow{QStringLiteral("key"), 3, 0, QStringLiteral("value")}};
    write.nextVersion = QByteArray("b");
    write.dependencies = {DependencyRow{"c", {}}};
    store().write({&write, 1});
    const ThumbnailWrite thumbnail{id, "pixels"};
    store().setThumbnails({&thumbnail, 1});
    store().appendToCollection(id, std::vector<QByteArray>{"item"});

    const std::vector<AssetRemoval> removals{{"none", {}}, {id, {}}};
    EXPECT_EQ(store().remove(removals), 1);

    put(id); // nothing of the old one comes back
    EXPECT_EQ(body(id), std::nullopt);
    EXPECT_TRUE(store().metaData({&id, 1}).front().empty());
    EXPECT_EQ(store().nextVersions({&id, 1}).front(), QByteArray());
    EXPECT_TRUE(store().dependencies({&id, 1}).front().empty());
    EXPECT_EQ(store().thumbnails({&id, 1}).front(), std::nullopt);
    EXPECT_TRUE(itemsOf(id).empty());
}

TEST_P(StoreTest, refusesToRemoveWhatIsNotAsExpected)
{
    const qint64 old = put("a");
    put("b");
    put("a");

    const std::vector<AssetRemoval> removals{{"b", {}}, {"a", old}};
    EXPECT_EQ(codeRaisedBy([&] { store().remove(removals); }), StoreError::Code::Changed);

    EXPECT_TRUE(row("a"));
    EXPECT_TRUE(row("b"));
}

TEST_P(StoreTest, changesTheRecordedNameAlone)
{
    put("a", QStringLiteral("Filter"), QStringLiteral("Old"), QByteArray("body"));
    const qint64 before = row("a")->revision;

    const NameWrite name{"a", QStringLiteral("New")};
    const std::vector<qint64> revisions = store().setNames({&name, 1});

    EXPECT_EQ(row("a")->name, QStringLiteral("New"));
    EXPECT_EQ(body("a"), QByteArray("body"));
    EXPECT_GT(revisions.front(), before);
    EXPECT_EQ(row("a")->revision, revisions.front());
}

TEST_P(StoreTest, writesNothingForANameThatIsThereAlready)
{
    put("a", QStringLiteral("Filter"), QStringLiteral("Same"));
    const qint64 generation = store().generation();

    const NameWrite name{"a", QStringLiteral("Same")};
    EXPECT_EQ(store().setNames({&name, 1}).front(), row("a")->revision);

    EXPECT_EQ(store().generation(), generation);
}

TEST_P(StoreTest, refusesToNameWhatIsNotThere)
{
    put("a", QStringLiteral("Filter"), QStringLiteral("Old"));
    const std::vector<NameWrite> names{{"a", QStringLiteral("New")}, {"none", QStringLiteral("x")}};

    const StoreError error = raisedBy([&] { store().setNames(names); });

    EXPECT_EQ(error.code(), StoreError::Code::NoSuchAsset);
    EXPECT_STREQ(error.what(), "There is no asset \"none\" in the store");
    EXPECT_EQ(row("a")->name, QStringLiteral("Old"));
}

TEST_P(StoreTest, setsTheMaskedFlagsAndCountsWhatChanged)
{
    put("a");
    put("b");
    const qint64 revision = row("a")->revision;
    const Ids ids{"a", "none", "b"};
    store().setFlags({&ids[0], 1}, 0x6, 0x4);

    EXPECT_EQ(store().setFlags(ids, 0x3, 0x1), 2);

    EXPECT_EQ(row("a")->flags, 0x5U);
    EXPECT_EQ(row("b")->flags, 0x1U);
    EXPECT_EQ(row("a")->revision, revision);
}

TEST_P(StoreTest, writesNothingForFlagsThatAreSoAlready)
{
    const QByteArray id = "a";
    put(id);
    store().setFlags({&id, 1}, StoreFlags::sHidden, StoreFlags::sHidden);
    const qint64 generation = store().generation();

    EXPECT_EQ(store().setFlags({&id, 1}, StoreFlags::sHidden, StoreFlags::sHidden), 0);

    EXPECT_EQ(store().generation(), generation);
}

static Ids idsOf(const Store &store, const AssetQuery &query, qsizetype pageSize)
{
    Ids ids;
    AssetCursor cursor(store, query, pageSize);
    while (const AssetRow *const row = cursor.next())
        ids.push_back(row->id);
    return ids;
}

TEST_P(StoreTest, findsByClassInTheOrderOfWriting)
{
    for (const char *id : {"z", "c", "m", "a", "k"})
        put(id, QByteArray(id) == "m" ? QStringLiteral("Other") : QStringLiteral("Filter"));

    AssetQuery query;
    query.className = QStringLiteral("Filter");
    for (const qsizetype pageSize : {1, 2, 4, 100})
        EXPECT_EQ(idsOf(store(), query, pageSize), (Ids{"z", "c", "a", "k"}));
    query.className = QStringLiteral("Unknown");
    EXPECT_EQ(idsOf(store(), query, 2), Ids());
    EXPECT_EQ(idsOf(store(), {}, 2), (Ids{"z", "c", "m", "a", "k"}));
}

TEST_P(StoreTest, findsByNameInOneOrAnyLetterCase)
{
    put("a", QStringLiteral("Filter"), QString::fromUtf8("ÄPFEL"));
    put("b", QStringLiteral("Filter"), QString::fromUtf8("äpfel"));
    put("c", QStringLiteral("Other"), QString::fromUtf8("Äpfel"));

    AssetQuery query;
    query.name = QString::fromUtf8("äpfel");
    EXPECT_EQ(idsOf(store(), query, 1), (Ids{"b"}));
    query.nameCase = Qt::CaseInsensitive;
    EXPECT_EQ(idsOf(store(), query, 1), (Ids{"a", "b", "c"}));
    query.className = QStringLiteral("Filter");
    EXPECT_EQ(idsOf(store(), query, 1), (Ids{"a", "b"}));
}

TEST_P(StoreTest, findsByNameAfterARename)
{
    put("a", QStringLiteral("Filter"), QStringLiteral("Old"));
    const NameWrite name{"a", QStringLiteral("New")};
    store().setNames({&name, 1});

    AssetQuery query;
    query.name = QStringLiteral("Old");
    EXPECT_EQ(idsOf(store(), query, 8), Ids());
    query.name = QStringLiteral("New");
    EXPECT_EQ(idsOf(store(), query, 8), (Ids{"a"}));
}

TEST_P(StoreTest, findsByCategory)
{
    AssetWrite write = assetWrite("a");
    write.row.category = QStringLiteral("filter");
    store().write({&write, 1});
    put("b");

    AssetQuery query;
    query.category = QStringLiteral("filter");
    EXPECT_EQ(idsOf(store(), query, 8), (Ids{"a"}));
    query.category = QString();
    EXPECT_EQ(idsOf(store(), query, 8), (Ids{"b"}));
}

TEST_P(StoreTest, goesOnAfterACursorWhoseAssetWasRemoved)
{
    for (const char *id : {"a", "b", "c", "d"})
        put(id);
    AssetCursor cursor(store(), {}, 2);
    cursor.next();
    EXPECT_EQ(cursor.next()->id, QByteArray("b"));
    const std::vector<AssetRemoval> removals{{"b", {}}, {"c", {}}};
    store().remove(removals);

    EXPECT_EQ(cursor.next()->id, QByteArray("d"));
    EXPECT_EQ(cursor.next(), nullptr);
    EXPECT_EQ(cursor.next(), nullptr);
}

TEST_P(StoreTest, keepsReplacesAndRemovesThumbnails)
{
    put("a");
    put("b");
    const Ids ids{"a", "b", "none"};
    std::vector<ThumbnailWrite> writes{{"a", "one"}, {"b", "two"}};
    store().setThumbnails(writes);
    EXPECT_EQ(store().thumbnails(ids),
              (std::vector<std::optional<QByteArray>>{"one", "two", std::nullopt}));

    writes = {{"a", ""}, {"b", "three"}};
    store().setThumbnails(writes);
    EXPECT_EQ(store().thumbnails(ids),
              (std::vector<std::optional<QByteArray>>{std::nullopt, "three", std::nullopt}));
}

TEST_P(StoreTest, refusesAThumbnailOfWhatIsNotThere)
{
    const ThumbnailWrite write{"none", "pixels"};
    EXPECT_EQ(codeRaisedBy([&] {
                  store().setThumbnails({&write, 1});
              }),
              StoreError::Code::NoSuchAsset);
}

TEST_P(StoreTest, countsWhatItKeeps)
{
    AssetWrite write = assetWrite("a", QStringLiteral("Filter"), {}, QByteArray("12345"));
    write.metaData = {MetaRow{QStringLiteral("one"), 3, 0, 1},
                      MetaRow{QStringLiteral("two"), 3, 0, 2}};
    write.nextVersion = QByteArray("b");
    write.dependencies = {DependencyRow{"c", {}}};
    store().write({&write, 1});
    put("b", QStringLiteral("Filter"), {}, QByteArray("678"));
    const ThumbnailWrite thumbnail{"a", "pixels"};
    store().setThumbnails({&thumbnail, 1});
    store().appendToCollection("b", Ids{"a", "b", "c"});

    const StoreStatistics found = store().statistics();

    EXPECT_EQ(found.assets, 2);
    EXPECT_EQ(found.metaDataItems, 2);
    EXPECT_EQ(found.versionEdges, 1);
    EXPECT_EQ(found.dependencies, 1);
    EXPECT_EQ(found.thumbnails, 1);
    EXPECT_EQ(found.collectionItems, 3);
    EXPECT_EQ(found.bodyBytes, 8);
}

// Enough for a store that reads in blocks, and not a whole number of them.
static std::vector<QByteArray> manyIds()
{
    std::vector<QByteArray> ids;
    for (int number = 99; number >= 0; --number)
        ids.push_back("asset " + QByteArray::number(number));
    return ids;
}

TEST_P(StoreTest, readsManyAssetsInTheOrderThatIsAskedFor)
{
    const std::vector<QByteArray> ids = manyIds();
    for (std::size_t at = 0; at < ids.size(); at += 2)
        put(ids[at], QStringLiteral("Filter"), QString::fromLatin1(ids[at]), "body of " + ids[at]);

    const auto rows = store().loadRows(ids);
    const auto assets = store().load(ids);

    ASSERT_EQ(rows.size(), ids.size());
    ASSERT_EQ(assets.size(), ids.size());
    for (std::size_t at = 0; at < ids.size(); ++at) {
        const bool exists = at % 2 == 0;
        ASSERT_EQ(rows[at].has_value(), exists) << ids[at].constData();
        ASSERT_EQ(assets[at].has_value(), exists) << ids[at].constData();
        if (!exists)
            continue;
        EXPECT_EQ(rows[at]->id, ids[at]);
        EXPECT_EQ(rows[at]->name, QString::fromLatin1(ids[at]));
        EXPECT_EQ(assets[at]->row.id, ids[at]);
        EXPECT_EQ(assets[at]->body->data, "body of " + ids[at]);
    }
}

TEST_P(StoreTest, readsAnAssetAsOftenAsItIsAskedFor)
{
    put("a");
    std::vector<QByteArray> ids(40, "a");
    ids[20] = "b";
    ids[30] = "";

    const auto rows = store().loadRows(ids);

    for (std::size_t at = 0; at < ids.size(); ++at)
        EXPECT_EQ(rows[at].has_value(), ids[at] == "a") << at;
    EXPECT_TRUE(store().loadRows({}).empty());
}

} // namespace Tesk::Assets
