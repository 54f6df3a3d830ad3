#pragma once

#include <renderablebase/OutputDesc.h>
#include <renderablebase/ParameterDesc.h>
#include <renderablebase/renderablebase_export.h>

#include <data/Field.h>
#include <data/SerializableData.h>
#include <data/Vector.h>

#include <QString>

#include <memory>

class QThread;

namespace Tesk::RenderableBase {

/// What a renderable takes in and gives out.
///
/// Ownership: shares its parameters and outputs, possibly with other descriptions.
/// Threads: not thread-safe; may be read by many once nobody writes any more.
/// Persistence: field names and their order are part of the stored form; the look-up is not
/// stored. Descriptions, parameters and outputs are known to the class registry from the moment
/// this library is loaded.
class RENDERABLEBASE_EXPORT RenderableIODesc : public Data::SerializableData
{
    Q_OBJECT
public:
    /// The name under which descriptions are stored and created when loading.
    static const QString sTypeName;

    explicit RenderableIODesc(Data::SerializableData *parent = nullptr);
    ~RenderableIODesc() override;

    /// Returns the first parameter of that identifier, compared case by case; null when absent.
    /// Cost: one hash look-up after updateCache(), which loading a long list calls too; a walk
    /// along the list before it.
    std::shared_ptr<ParameterDesc> parameterByIdentifier(const QString &identifier) const;

    /// Returns the first parameter of that uid; null when absent. Cost as above.
    std::shared_ptr<ParameterDesc> parameterByUid(unsigned int uid) const;

    /// Builds the look-up by identifier and by uid. A change of the list drops it again; after
    /// writing the identifier or uid of a listed parameter call this once more.
    void updateCache();

    /// Moves the description to \a thread, with those of its parameters and outputs that live
    /// on the calling thread. Must be called on the description's own thread.
    void moveWholeTo(QThread *thread);

    /// Returns whether nothing in it is of a derived class, whose operations may want a thread of
    /// their own.
    bool isOfOwnClasses() const;

    /// Drops the look-up with a change of the list; an override has to call it.
    void modelHasChanged(const Data::FieldEvent &event) override;
    void onLoadedFromDisk() override;

    Data::Vector<std::shared_ptr<ParameterDesc>> parameters;
    Data::Vector<std::shared_ptr<OutputDesc>> outputs;

private:
    struct Cache;
    std::unique_ptr<const Cache> m_cache; // null until updateCache()
};

} // namespace Tesk::RenderableBase
