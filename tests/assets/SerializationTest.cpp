#include <assets/Serialization.h>

#include <data/Cbor.h>
#include <data/Document.h>
#include <support/Printers.h>
#include <support/RecordedLog.h>
#include <vantbase/Exception.h>

#include <QFile>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tesk::Assets::Serialization {

using Data::Serialization::Document;
using Data::Serialization::fromCbor;
using Data::Serialization::Node;
using Data::Serialization::toCbor;

static QByteArray golden(int version)
{
    QFile file(QStringLiteral(ASSETS_GOLDEN_DIR "/filter-desc-%1.cbor").arg(version));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    return file.readAll();
}

TEST(SerializationTest, bringsABodyOfVersion100ToTheLayoutOf200)
{
    const Document document = fromCbor(golden(100));
    Node node = document.root();

    upgrade2_3AssetDataTo3_0(node);
    node.setClassInfo(node.className(), 200);

    EXPECT_EQ(toCbor(document).toHex(), golden(200).toHex());
}

TEST(SerializationTest, bringsABodyOfVersion200ToTheLayoutOf300)
{
    const Document document = fromCbor(golden(200));
    Node node = document.root();

    updateAsset_ExternalFileUrls(node);
    node.setClassInfo(node.className(), 300);

    EXPECT_EQ(toCbor(document).toHex(), golden(300).toHex());
}

TEST(SerializationTest, givesABodyOfVersion100WithNothingInItEmptyFields)
{
    const Document document;
    Node node = document.root();
    node.addObject("AssetData");

    upgrade2_3AssetDataTo3_0(node);

    const Node fields = node.findObject("Fields");
    ASSERT_FALSE(fields.isNull());
    EXPECT_EQ(fields.findObject("nextVersion").toBytes(), QByteArray());
    EXPECT_EQ(fields.findArray("dependencies", "FieldArray").size(), 0);
    EXPECT_TRUE(fields.findArray("externalFilePaths", "path").isNull());
    EXPECT_TRUE(node.findObject("AssetData").isNull());
}

TEST(SerializationTest, keepsWhatItDoesNotKnow)
{
    const Document document;
    Node node = document.root();
    node.addObject("AssetData");
    node.addObject("Extra").setValue(5);

    upgrade2_3AssetDataTo3_0(node);
    updateAsset_ExternalFileUrls(node);

    EXPECT_EQ(node.findObject("Extra").toInt(), 5);
}

TEST(SerializationTest, passesABodyWithoutSourceFilesUnchanged)
{
    const Document document;
    Node node = document.root();
    node.addObject("Fields").addObject("name").setValue("value");
    const QByteArray before = toCbor(document);

    updateAsset_ExternalFileUrls(node);

    EXPECT_EQ(toCbor(document), before);
}

TEST(SerializationTest, refusesBodiesOfAnotherLayout)
{
    const TestSupport::RecordedLog log;
    const Document document;
    Node node = document.root();
    node.setClassInfo("Some::Class", 100);

    EXPECT_THROW(upgrade2_3AssetDataTo3_0(node), Exception::Data::SerializationException);
    EXPECT_THROW(updateAsset_ExternalFileUrls(node), Exception::Data::SerializationException);

    EXPECT_THAT(log.texts(),
                testing::ElementsAre("Malformed asset: no \"AssetData\" in a node of version 100",
                                     "Malformed asset: no \"Fields\" in a node of version 100"));
}

} // namespace Tesk::Assets::Serialization
