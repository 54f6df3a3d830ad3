#pragma once

#include <data/Field.h>
#include <data/FieldEvent.h>
#include <data/HashMap.h>
#include <data/SerializableData.h>
#include <data/Vector.h>

#include <vantbase/QObjectDeleteLater.h>
#include <vantbase/SharedObject.h>

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tesk::Data {

inline const SerializableFieldBase::Options sNotify = SerializableFieldBase::NotifyChanges;

/// A value that the serialization library knows nothing of, as references to assets are.
struct Reference
{
    QByteArray id;

    friend bool operator==(const Reference &a, const Reference &b) = default;
};

namespace Serialization {
void serializeToNode(Node &node, const Reference &reference);
void deserializeFromNode(const Node &node, Reference &reference);
} // namespace Serialization

/// An object that writes down what it hears.
class Listening : public SerializableData
{
    Q_OBJECT
public:
    using SerializableData::registerField;
    using SerializableData::SerializableData;

    void modelHasChanged(const FieldEvent &event) override;
    void onLoadedFromDisk() override;
    void onCloned() override;

    /// What was heard so far, as "before types 3" or "after types key", and forgets it.
    std::vector<std::string> takeHeard();

    std::vector<FieldEvent> events;
    std::vector<std::string> heard;
    int timesLoaded = 0;
    int timesCloned = 0;
    std::function<void(const FieldEvent &)> onEvent;
    std::function<void()> onLoaded;
};

/// A record of a map, with a reference and a table as in real ones.
class Record : public Listening
{
    Q_OBJECT
public:
    static const QString sTypeName;

    explicit Record(SerializableData *parent = nullptr);
    ~Record() override;

    Field<Reference> implementationRef;
    HashMap<unsigned int, unsigned int> paramUidCorrespondance;
};

using RecordPointer = std::unique_ptr<Record, QObjectDeleteLater>;
RecordPointer makeRecord(const QByteArray &id);

class Parameter : public Listening
{
    Q_OBJECT
public:
    explicit Parameter(SerializableData *parent = nullptr);
    ~Parameter() override;

    Field<QString> identifier;
    Field<unsigned int> uid;
};

std::shared_ptr<Parameter> makeParameter(const QString &identifier, unsigned int uid);

/// An object that others share, with a list of objects that it shares in its turn.
class Description : public Listening
{
    Q_OBJECT
public:
    explicit Description(SerializableData *parent = nullptr);
    ~Description() override;

    Vector<std::shared_ptr<Parameter>> parameters;
    Field<std::shared_ptr<Parameter>> first;
};

/// An object with a field of each kind, all with the options given.
class Owner : public Listening
{
    Q_OBJECT
public:
    explicit Owner(SerializableData *parent = nullptr);
    explicit Owner(SerializableFieldBase::Options options);
    ~Owner() override;

    HashMap<QString, RecordPointer> types;
    HashMap<QString, unsigned int> numbers;
    Field<std::shared_ptr<Description>> ioDesc;
    Field<Reference> reference;
    Field<int> count;
    Vector<Reference> implementations;
};

/// Serializable, but not creatable by name.
class NeedsArgument : public SerializableData
{
    Q_OBJECT
public:
    explicit NeedsArgument(int argument);
    ~NeedsArgument() override;
};

/// Made by a factory and by nothing else, as assets are.
class FactoryMade : public SerializableData, public SharedObject<FactoryMade>
{
    Q_OBJECT
public:
    static std::shared_ptr<FactoryMade> make();

    explicit FactoryMade(const SharedObjectBadge &badge);
    ~FactoryMade() override;

    Field<int> number;
};

/// Gives the classes above their versions and meta-types.
void registerStandIns();

/// Counts the notices of changes.
class CountingListener : public ChangeListener
{
public:
    void objectChanged(SerializableData &object) override;

    std::vector<SerializableData *> changed;
};

} // namespace Tesk::Data

Q_DECLARE_METATYPE(Tesk::Data::Reference)
