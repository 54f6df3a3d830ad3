#pragma once

#include <data/data_export.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace Tesk {

class SharedObjectBase;

namespace Data {

class SerializableData;
namespace Serialization {
class Node;
}

/// What the process knows of serializable classes: versions, factories, old names, updaters.
///
/// Classes are addressed by name. An old name that has been declared stands for the current
/// one in every query.
///
/// Threads: may be used from any thread; registrations last for the life of the process.
class DATA_EXPORT ClassRegistry
{
public:
    using Factory = std::function<std::shared_ptr<SharedObjectBase>()>;
    using Updater = std::function<void(Serialization::Node &)>;

    ClassRegistry() = delete;

    /// The version that is written with every object of the class; whole, from 0.
    static void setCurrentVersion(const QString &className, int version);
    static std::optional<int> currentVersion(const QString &className);

    /// The class that is stored as \a oldName is now \a currentName.
    static void declareClassNameAlias(const QString &oldName, const QString &currentName);
    /// \a className itself unless it is a declared old name.
    static QString currentName(const QString &className);
    /// The old names that were declared for \a currentName, in no special order.
    static QStringList oldNames(const QString &currentName);

    /// Declares how a stored node of one version becomes one of a later version; declaring
    /// the step from the same version again replaces it.
    ///
    /// Raises an InvalidArgumentException unless \a toVersion is above \a fromVersion.
    static void declareUpdater(const QString &className, int fromVersion, int toVersion,
                               const Updater &updater);
    /// Whether \a node has another version than is written today.
    static bool needsUpgrade(const Serialization::Node &node);
    /// Rewrites \a node, an object with class information, to the current version of its class.
    ///
    /// Raises a SerializationException when an updater is missing and when the node is newer
    /// than the current version. A class without a current version counts as version 0.
    static void upgrade(Serialization::Node &node);

    /// How shared objects of a class are made; the meta-type must be registered before.
    static void registerFactory(int metaTypeId, Factory factory);
    static bool hasFactory(const QString &className);
    /// Returns the factory of the class, an empty one when it has none.
    static Factory factory(const QString &className);
    /// Makes a shared object through its factory; raises a SerializationException without one.
    static std::shared_ptr<SharedObjectBase> createShared(const QString &className);

    /// Makes an unshared object without parent through its meta-type; the caller owns it.
    ///
    /// Class names come from files: raises a SerializationException, before anything is
    /// created, unless the class has a current version and a registered meta-type of a
    /// serializable class that can be created without arguments.
    static SerializableData *newInstance(const QString &className);
};

} // namespace Data
} // namespace Tesk
