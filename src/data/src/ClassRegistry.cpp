#include <data/ClassRegistry.h>

#include "KnownClasses.h"
#include "NodeAccess.h"

#include <data/Node.h>
#include <data/RaiseSerialization.h>
#include <data/SerializableData.h>

#include <vantbase/Location.h>
#include <vantbase/Ownership.h>
#include <vantbase/Raise.h>
#include <vantbase/SharedObject.h>

#include <QHash>
#include <QMetaType>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

namespace Tesk::Data {

namespace {

struct UpdaterStep
{
    int toVersion = 0;
    ClassRegistry::Updater updater;
};

struct ClassEntry
{
    std::optional<int> version;
    std::map<int, UpdaterStep> updaters; // by the version they start from
    QMetaType type;                      // kept once Qt has found it: Qt takes its time
};

struct Registry
{
    std::shared_mutex mutex;
    // guarded by mutex
    QHash<QString, ClassEntry> classes;
    QHash<QString, QString> aliases;
    QHash<int, ClassRegistry::Factory> factories;
    QHash<QString, ClassRegistry::Factory> factoriesByName; // the same, found sooner
    // Each as it was when somebody last asked after a change; readers may still hold any.
    std::vector<std::unique_ptr<const KnownClasses>> snapshots;

    std::atomic<const KnownClasses *> newestSnapshot = nullptr; // null when it is out of date

    const QString &currentNameLocked(const QString &className) const
    {
        const auto alias = aliases.constFind(className);
        return alias == aliases.constEnd() ? className : *alias;
    }

    std::optional<int> versionLocked(const QString &className) const
    {
        const auto entry = classes.constFind(currentNameLocked(className));
        return entry == classes.constEnd() ? std::nullopt : entry->version;
    }
};

Registry &registry()
{
    // Never destroyed: objects may still be written while the process ends.
    static Registry &instance = *new Registry;
    return instance;
}

QMetaType metaTypeOf(const QString &className)
{
    Registry &known = registry();
    QString name;
    {
        const std::shared_lock lock(known.mutex);
        name = known.currentNameLocked(className);
        const auto entry = known.classes.constFind(name);
        if (entry != known.classes.constEnd() && entry->type.isValid())
            return entry->type;
    }
    const QMetaType type = QMetaType::fromName(name.toUtf8());
    const std::unique_lock lock(known.mutex);
    const auto entry = known.classes.find(name);
    if (entry != known.classes.end() && type.isValid()) {
        entry->type = type;
        known.newestSnapshot = nullptr;
    }
    return type;
}

std::optional<UpdaterStep> findUpdater(const QString &className, int fromVersion)
{
    Registry &known = registry();
    const std::shared_lock lock(known.mutex);
    const auto entry = known.classes.constFind(className);
    if (entry == known.classes.constEnd())
        return std::nullopt;
    const auto step = entry->updaters.find(fromVersion);
    if (step == entry->updaters.end())
        return std::nullopt;
    return step->second;
}

[[noreturn]] void refuseInstance(const std::string &place, const QString &className,
                                 const char *reason)
{
    raiseSerialization(place, QStringLiteral("Cannot create an object of class \"%1\": %2")
                                      .arg(className, QLatin1StringView(reason)));
}

// What creates a value by name must not be led to one that is no serializable object: those
// are larger than nearly all values and, unlike them, cannot be copied.
bool mayBeSerializable(const QMetaType &type)
{
    return type.sizeOf() >= qsizetype(sizeof(SerializableData)) && type.iface()->copyCtr == nullptr;
}

const KnownClasses &takeSnapshot()
{
    Registry &known = registry();
    const std::unique_lock lock(known.mutex);
    if (const KnownClasses *newest = known.newestSnapshot)
        return *newest;
    auto taken = std::make_unique<KnownClasses>();
    const auto add = [&taken](const QString &name, const ClassEntry &entry, bool isOldName) {
        KnownClass described{entry.version, isOldName, {}};
        if (entry.type.isValid() && mayBeSerializable(entry.type))
            described.type = entry.type;
        taken->add(name.toStdString(), described);
    };
    for (auto entry = known.classes.cbegin(); entry != known.classes.cend(); ++entry) {
        if (!known.aliases.contains(entry.key()))
            add(entry.key(), *entry, false);
    }
    for (auto alias = known.aliases.cbegin(); alias != known.aliases.cend(); ++alias)
        add(alias.key(), known.classes.value(*alias), true);
    known.snapshots.push_back(std::move(taken));
    known.newestSnapshot = known.snapshots.back().get();
    return *known.snapshots.back();
}

} // namespace

const KnownClass *KnownClasses::find(std::string_view name)
{
    const KnownClasses *newest = registry().newestSnapshot.load(std::memory_order_acquire);
    const KnownClasses &classes = newest != nullptr ? *newest : takeSnapshot();
    const quint32 id = classes.m_names.find(name);
    return id == 0 ? nullptr : &classes.m_classes[id];
}

void KnownClasses::add(std::string_view name, const KnownClass &known)
{
    m_names.insert(name);
    m_classes.push_back(known);
}

void ClassRegistry::setCurrentVersion(const QString &className, int version)
{
    Registry &known = registry();
    const std::unique_lock lock(known.mutex);
    const QString name = known.currentNameLocked(className);
    std::optional<int> &current = known.classes[name].version;
    if (current != version) {
        current = version;
        known.newestSnapshot = nullptr;
    }
}

std::optional<int> ClassRegistry::currentVersion(const QString &className)
{
    Registry &known = registry();
    const std::shared_lock lock(known.mutex);
    return known.versionLocked(className);
}

void ClassRegistry::declareClassNameAlias(const QString &oldName, const QString &currentName)
{
    Registry &known = registry();
    const std::unique_lock lock(known.mutex);
    const QString target = known.currentNameLocked(currentName);
    if (target == oldName)
        return; // a name cannot be an old name of itself
    known.newestSnapshot = nullptr;
    known.aliases[oldName] = target;
    for (QString &name : known.aliases) {
        if (name == oldName)
            name = target;
    }
}

QString ClassRegistry::currentName(const QString &className)
{
    Registry &known = registry();
    const std::shared_lock lock(known.mutex);
    return known.currentNameLocked(className);
}

QStringList ClassRegistry::oldNames(const QString &currentName)
{
    Registry &known = registry();
    const std::shared_lock lock(known.mutex);
    return known.aliases.keys(currentName);
}

void ClassRegistry::declareUpdater(const QString &className, int fromVersion, int toVersion,
                                   const Updater &updater)
{
    if (toVersion <= fromVersion)
        VantBase::raiseInvalidArgument(
                TESK_HERE,
                QStringLiteral("Cannot declare an updater of class \"%1\" from version %2 to %3: "
                               "expected a later version")
                        .arg(className, QString::number(fromVersion), QString::number(toVersion)));
    Registry &known = registry();
    const std::unique_lock lock(known.mutex);
    const QString name = known.currentNameLocked(className);
    known.classes[name].updaters[fromVersion] = UpdaterStep{toVersion, updater};
}

bool ClassRegistry::needsUpgrade(const Serialization::Node &node)
{
    const Serialization::Slot &stored = Serialization::NodeAccess::classInfo(node);
    const KnownClass *known = KnownClasses::find(stored.text());
    if (known == nullptr)
        return stored.view.version != 0;
    return known->isOldName || stored.view.version != known->version.value_or(0);
}

void ClassRegistry::upgrade(Serialization::Node &node)
{
    const QString name = currentName(node.className());
    const int current = currentVersion(name).value_or(0);
    int version = node.classVersion();
    if (version > current)
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot read an object of class \"%1\": version %2 is "
                                          "newer than %3, the newest known")
                                   .arg(name, QString::number(version), QString::number(current)));
    node.setClassInfo(name, version);
    while (version < current) {
        const std::optional<UpdaterStep> step = findUpdater(name, version);
        if (!step || step->toVersion > current)
            raiseSerialization(
                    TESK_HERE,
                    QStringLiteral(
                            "Cannot upgrade an object of class \"%1\": no updater leads from "
                            "version %2 towards %3, the current one")
                            .arg(name, QString::number(version), QString::number(current)));
        step->updater(node);
        version = step->toVersion;
        node.setClassInfo(name, version);
    }
}

void ClassRegistry::registerFactory(int metaTypeId, Factory factory)
{
    Registry &known = registry();
    const std::unique_lock lock(known.mutex);
    const QString name = QString::fromLatin1(QMetaType(metaTypeId).name());
    if (!name.isEmpty())
        known.factoriesByName[name] = factory;
    known.factories[metaTypeId] = std::move(factory);
}

bool ClassRegistry::hasFactory(const QString &className)
{
    return static_cast<bool>(factory(className));
}

ClassRegistry::Factory ClassRegistry::factory(const QString &className)
{
    Registry &known = registry();
    {
        const std::shared_lock lock(known.mutex);
        const auto found = known.factoriesByName.constFind(known.currentNameLocked(className));
        if (found != known.factoriesByName.constEnd())
            return *found;
    }
    const QMetaType type = metaTypeOf(className); // which knows further names of a class
    if (!type.isValid())
        return {};
    const std::shared_lock lock(known.mutex);
    return known.factories.value(type.id());
}

std::shared_ptr<SharedObjectBase> ClassRegistry::createShared(const QString &className)
{
    const Factory make = factory(className);
    if (!make)
        refuseInstance(TESK_HERE, className, "it has no factory");
    return make();
}

SerializableData *ClassRegistry::newInstance(const QString &className)
{
    if (!currentVersion(className))
        refuseInstance(TESK_HERE, className, "it has no current version");
    const QMetaType type = metaTypeOf(className);
    if (!type.isValid())
        refuseInstance(TESK_HERE, className, "it is not registered as a meta-type");
    if (!mayBeSerializable(type))
        refuseInstance(TESK_HERE, className, "it is not a class of serializable objects");
    void *object = type.create();
    if (!object)
        refuseInstance(TESK_HERE, className, "it has no default constructor");
    auto *data = static_cast<SerializableData *>(object);
    VantBase::forbidStealingOwnership(data);
    return data;
}

} // namespace Tesk::Data
