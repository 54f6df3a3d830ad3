#pragma once

#include "NoteAsset.h"

namespace Tesk::Assets {

/// A note that any thread may encode while it is new.
class FreeNoteAsset : public NoteAsset
{
    Q_OBJECT
public:
    static const QString sTypeName;

    /// Makes the class known; the first call does it.
    static void registerType();
    static std::shared_ptr<NoteAsset> make();

    using NoteAsset::NoteAsset;

    const QString &typeName() const override;
};

} // namespace Tesk::Assets
