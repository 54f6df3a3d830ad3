#pragma once

#include <QString>
#include <QtGlobal>
#include <QVariant>

namespace Tesk::Data {

/// One step of a change of a field, as its owner hears it.
struct FieldEvent
{
    enum class Phase : quint8 { AboutToChange = 0, Changed = 1 };

    QString fieldName;
    quint8 kind = 1; ///< every change of a field's content is of kind 1
    Phase phase = Phase::AboutToChange;
    qsizetype index = -1;      ///< the element of a vector; -1 for the whole field and for maps
    bool notPersisted = false; ///< the field is never written
    QVariant key;              ///< the entry of a map; invalid for the whole field
};

} // namespace Tesk::Data
