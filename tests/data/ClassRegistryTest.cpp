#include "StandIns.h"

#include <data/ClassRegistry.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>
#include <vantbase/SharedObject.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tesk::Data {

using Serialization::ArrayNode;
using Serialization::Document;
using Serialization::Node;
using testing::ElementsAre;

namespace {

class Shared : public Listening, public SharedObject<Shared>
{
public:
    explicit Shared(const SharedObjectBadge &) {}
};

std::string errorOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Exception::Data::SerializationException &error) {
        return error.what();
    }
    return "nothing was raised";
}

/// Every test has a class name of its own: registrations last.
class ClassRegistryTest : public testing::Test
{
protected:
    ClassRegistryTest() { registerStandIns(); }

    Node nodeOf(const QString &className, int version)
    {
        Node node = document.root();
        node.setClassInfo(className, version);
        return node;
    }

    ClassRegistry::Updater noting(const std::string &step)
    {
        return [this, step](Node &node) {
            steps.push_back(step);
            versionsSeen.push_back(node.classVersion());
        };
    }

    TestSupport::RecordedLog log;
    Document document;
    std::vector<std::string> steps;
    std::vector<int> versionsSeen;
};

} // namespace

TEST_F(ClassRegistryTest, knowsNoVersionUnlessItWasSet)
{
    EXPECT_EQ(ClassRegistry::currentVersion(QStringLiteral("Version::A")), std::nullopt);
    ClassRegistry::setCurrentVersion(QStringLiteral("Version::A"), 3);

    EXPECT_EQ(ClassRegistry::currentVersion(QStringLiteral("Version::A")), 3);
}

TEST_F(ClassRegistryTest, knowsWhatIsRegisteredAfterAClassWasAskedFor)
{
    const QString name = QStringLiteral("Later::A");
    const Node node = nodeOf(name, 1);
    EXPECT_TRUE(ClassRegistry::needsUpgrade(node));

    ClassRegistry::setCurrentVersion(name, 1);
    EXPECT_FALSE(ClassRegistry::needsUpgrade(node));

    ClassRegistry::setCurrentVersion(name, 2);
    EXPECT_TRUE(ClassRegistry::needsUpgrade(node));

    ClassRegistry::setCurrentVersion(name, 1);
    ClassRegistry::declareClassNameAlias(name, QStringLiteral("Later::B"));
    EXPECT_TRUE(ClassRegistry::needsUpgrade(node));
}

TEST_F(ClassRegistryTest, objectsAreWrittenWithTheVersionOfTheMoment)
{
    const Record record;
    const Document both;
    ArrayNode items = both.root().addArray("items", "item");
    Node before = items.append();
    Node after = items.append();

    serializeToNode(before, record);
    const int version = before.classVersion();
    ClassRegistry::setCurrentVersion(Record::sTypeName, version + 1);
    serializeToNode(after, record);
    ClassRegistry::setCurrentVersion(Record::sTypeName, version);

    EXPECT_EQ(before.classVersion(), version);
    EXPECT_EQ(after.classVersion(), version + 1);
}

TEST_F(ClassRegistryTest, passesANodeThroughTheUpdatersInAscendingOrder)
{
    const QString name = QStringLiteral("Updaters::Order");
    ClassRegistry::setCurrentVersion(name, 300);
    ClassRegistry::declareUpdater(name, 200, 300, noting("200 to 300"));
    ClassRegistry::declareUpdater(name, 100, 200, noting("100 to 200"));
    Node node = nodeOf(name, 100);

    ClassRegistry::upgrade(node);

    EXPECT_THAT(steps, ElementsAre("100 to 200", "200 to 300"));
    EXPECT_THAT(versionsSeen, ElementsAre(100, 200));
    EXPECT_EQ(node.classVersion(), 300);
}

TEST_F(ClassRegistryTest, startsWithTheUpdaterOfTheStoredVersion)
{
    const QString name = QStringLiteral("Updaters::Start");
    ClassRegistry::setCurrentVersion(name, 300);
    ClassRegistry::declareUpdater(name, 100, 200, noting("100 to 200"));
    ClassRegistry::declareUpdater(name, 200, 300, noting("200 to 300"));
    Node node = nodeOf(name, 200);

    ClassRegistry::upgrade(node);

    EXPECT_THAT(steps, ElementsAre("200 to 300"));
}

TEST_F(ClassRegistryTest, leavesACurrentNodeAlone)
{
    const QString name = QStringLiteral("Updaters::Current");
    ClassRegistry::setCurrentVersion(name, 300);
    ClassRegistry::declareUpdater(name, 300, 400, noting("300 to 400"));
    Node node = nodeOf(name, 300);

    ClassRegistry::upgrade(node);

    EXPECT_TRUE(steps.empty());
    EXPECT_EQ(node.classVersion(), 300);
}

TEST_F(ClassRegistryTest, replacesAnUpdaterThatIsDeclaredAgain)
{
    const QString name = QStringLiteral("Updaters::Replaced");
    ClassRegistry::setCurrentVersion(name, 200);
    ClassRegistry::declareUpdater(name, 100, 200, noting("first"));
    ClassRegistry::declareUpdater(name, 100, 200, noting("second"));
    Node node = nodeOf(name, 100);

    ClassRegistry::upgrade(node);

    EXPECT_THAT(steps, ElementsAre("second"));
}

TEST_F(ClassRegistryTest, raisesForAGapAndNamesClassVersionReachedAndCurrent)
{
    const QString name = QStringLiteral("Updaters::Gap");
    ClassRegistry::setCurrentVersion(name, 400);
    ClassRegistry::declareUpdater(name, 100, 200, noting("100 to 200"));
    Node node = nodeOf(name, 100);

    EXPECT_EQ(errorOf([&] { ClassRegistry::upgrade(node); }),
              "Cannot upgrade an object of class \"Updaters::Gap\": no updater leads from version "
              "200 towards 400, the current one");
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(ClassRegistryTest, doesNotStepOverTheCurrentVersion)
{
    const QString name = QStringLiteral("Updaters::Over");
    ClassRegistry::setCurrentVersion(name, 200);
    ClassRegistry::declareUpdater(name, 100, 300, noting("100 to 300"));
    Node node = nodeOf(name, 100);

    EXPECT_THAT(errorOf([&] { ClassRegistry::upgrade(node); }),
                testing::HasSubstr("from version 100 towards 200"));
    EXPECT_TRUE(steps.empty());
}

TEST_F(ClassRegistryTest, refusesANewerVersionAndAsksNoUpdater)
{
    const QString name = QStringLiteral("Updaters::Newer");
    ClassRegistry::setCurrentVersion(name, 200);
    ClassRegistry::declareUpdater(name, 300, 400, noting("300 to 400"));
    Node node = nodeOf(name, 300);

    EXPECT_EQ(errorOf([&] { ClassRegistry::upgrade(node); }),
              "Cannot read an object of class \"Updaters::Newer\": version 300 is newer than 200, "
              "the newest known");
    EXPECT_TRUE(steps.empty());
}

TEST_F(ClassRegistryTest, refusesAnUpdaterThatDoesNotLeadUp)
{
    EXPECT_THROW(ClassRegistry::declareUpdater(QStringLiteral("Updaters::Down"), 200, 200, {}),
                 Exception::InvalidArgumentException);
}

TEST_F(ClassRegistryTest, appliesTheUpdatersOfTheCurrentNameToAnOldName)
{
    const QString name = QStringLiteral("Alias::Current");
    const QString oldName = QStringLiteral("Alias::Old");
    ClassRegistry::setCurrentVersion(name, 200);
    ClassRegistry::declareClassNameAlias(oldName, name);
    ClassRegistry::declareUpdater(name, 100, 200, noting("100 to 200"));
    Node node = nodeOf(oldName, 100);

    ClassRegistry::upgrade(node);

    EXPECT_THAT(steps, ElementsAre("100 to 200"));
    EXPECT_EQ(node.className(), name);
    EXPECT_EQ(ClassRegistry::currentVersion(oldName), 200);
    EXPECT_EQ(ClassRegistry::currentName(oldName), name);
    EXPECT_EQ(ClassRegistry::currentName(name), name);
}

TEST_F(ClassRegistryTest, followsAnAliasOfAnAliasWhicheverWasDeclaredFirst)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Chain::A"), QStringLiteral("Chain::B"));
    ClassRegistry::declareClassNameAlias(QStringLiteral("Chain::B"), QStringLiteral("Chain::C"));
    ClassRegistry::declareClassNameAlias(QStringLiteral("Chain::D"), QStringLiteral("Chain::B"));

    EXPECT_EQ(ClassRegistry::currentName(QStringLiteral("Chain::A")), QStringLiteral("Chain::C"));
    EXPECT_EQ(ClassRegistry::currentName(QStringLiteral("Chain::D")), QStringLiteral("Chain::C"));
}

TEST_F(ClassRegistryTest, namesTheOldNamesOfAClass)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Names::A"), QStringLiteral("Names::B"));
    ClassRegistry::declareClassNameAlias(QStringLiteral("Names::B"), QStringLiteral("Names::C"));

    QStringList names = ClassRegistry::oldNames(QStringLiteral("Names::C"));
    names.sort();

    EXPECT_EQ(names, QStringList({QStringLiteral("Names::A"), QStringLiteral("Names::B")}));
    EXPECT_TRUE(ClassRegistry::oldNames(QStringLiteral("Names::B")).isEmpty());
}

TEST_F(ClassRegistryTest, ignoresAnAliasThatWouldCloseACircle)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Circle::A"), QStringLiteral("Circle::B"));
    ClassRegistry::declareClassNameAlias(QStringLiteral("Circle::B"), QStringLiteral("Circle::A"));

    EXPECT_EQ(ClassRegistry::currentName(QStringLiteral("Circle::A")), QStringLiteral("Circle::B"));
    EXPECT_EQ(ClassRegistry::currentName(QStringLiteral("Circle::B")), QStringLiteral("Circle::B"));
}

TEST_F(ClassRegistryTest, acceptsAnOldNameInTheCheckOfClassInformation)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Check::Old"),
                                         QStringLiteral("Check::Current"));
    const Node node = nodeOf(QStringLiteral("Check::Old"), 1);

    EXPECT_NO_THROW(node.checkClassInfo(QStringLiteral("Check::Current")));
    EXPECT_THROW(node.checkClassInfo(QStringLiteral("Check::Other")),
                 Exception::Data::SerializationException);
}

TEST_F(ClassRegistryTest, readsAnObjectStoredUnderAnOldNameAndVersionAndLeavesTheNodeAsItWas)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Old::Record"), Record::sTypeName);
    ClassRegistry::declareUpdater(Record::sTypeName, 50, 100, [](Node &node) {
        node.findObject("Fields").renameChild("ref", "implementationRef");
    });
    Node node = nodeOf(QStringLiteral("Old::Record"), 50);
    node.addObject("Fields").addObject("ref").setValue(QByteArray("id"));
    RecordPointer record;

    deserializeFromNode(node, record);

    ASSERT_TRUE(record);
    EXPECT_EQ(record->implementationRef.get().id, QByteArray("id"));
    EXPECT_EQ(node.classVersion(), 50);
    EXPECT_FALSE(node.findObject("Fields").findObject("ref").isNull());
}

TEST_F(ClassRegistryTest, createsAnUnsharedObjectThroughItsMetaType)
{
    const std::unique_ptr<SerializableData> object(ClassRegistry::newInstance(Record::sTypeName));

    ASSERT_TRUE(qobject_cast<Record *>(object.get()));
    EXPECT_EQ(object->parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(object.get()));
}

TEST_F(ClassRegistryTest, createsAnObjectByItsOldName)
{
    ClassRegistry::declareClassNameAlias(QStringLiteral("Older::Record"), Record::sTypeName);

    const std::unique_ptr<SerializableData> object(
            ClassRegistry::newInstance(QStringLiteral("Older::Record")));

    EXPECT_TRUE(qobject_cast<Record *>(object.get()));
}

TEST_F(ClassRegistryTest, createsNothingForAMetaTypeWithoutACurrentVersion)
{
    EXPECT_EQ(errorOf([] { ClassRegistry::newInstance(QStringLiteral("QObject")); }),
              "Cannot create an object of class \"QObject\": it has no current version");
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(ClassRegistryTest, createsNothingForAValueTypeEvenIfItHasAVersion)
{
    EXPECT_EQ(errorOf([] { ClassRegistry::newInstance(QStringLiteral("QString")); }),
              "Cannot create an object of class \"QString\": it has no current version");
    ClassRegistry::setCurrentVersion(QStringLiteral("QString"), 1);

    EXPECT_EQ(errorOf([] { ClassRegistry::newInstance(QStringLiteral("QString")); }),
              "Cannot create an object of class \"QString\": it is not a class of serializable "
              "objects");
}

TEST_F(ClassRegistryTest, createsNothingForAVersionWithoutAMetaType)
{
    ClassRegistry::setCurrentVersion(QStringLiteral("No::MetaType"), 1);

    EXPECT_EQ(errorOf([] { ClassRegistry::newInstance(QStringLiteral("No::MetaType")); }),
              "Cannot create an object of class \"No::MetaType\": it is not registered as a "
              "meta-type");
}

TEST_F(ClassRegistryTest, createsNothingForAClassThatNeedsAnArgument)
{
    EXPECT_EQ(errorOf([] {
                  ClassRegistry::newInstance(QStringLiteral("Tesk::Data::NeedsArgument"));
              }),
              "Cannot create an object of class \"Tesk::Data::NeedsArgument\": it has no default "
              "constructor");
}

TEST_F(ClassRegistryTest, makesSharedObjectsThroughTheFactoryOfTheMetaType)
{
    const int id = qRegisterMetaType<NeedsArgument>("Tesk::Data::NeedsArgument");
    EXPECT_FALSE(ClassRegistry::hasFactory(QStringLiteral("Tesk::Data::NeedsArgument")));
    ClassRegistry::registerFactory(id, []() -> std::shared_ptr<SharedObjectBase> {
        return SharedObject<Shared>::adopt(new Shared(SharedObject<Shared>::badge()));
    });

    EXPECT_TRUE(ClassRegistry::hasFactory(QStringLiteral("Tesk::Data::NeedsArgument")));
    const auto object = ClassRegistry::createShared(QStringLiteral("Tesk::Data::NeedsArgument"));
    EXPECT_TRUE(std::dynamic_pointer_cast<Shared>(object));
    ClassRegistry::registerFactory(id, {});
}

TEST_F(ClassRegistryTest, hasNoFactoryForRecords)
{
    EXPECT_FALSE(ClassRegistry::hasFactory(Record::sTypeName));
    EXPECT_EQ(errorOf([] { ClassRegistry::createShared(Record::sTypeName); }),
              "Cannot create an object of class \"Tesk::Data::Record\": it has no factory");
}

} // namespace Tesk::Data
