#pragma once

#include <QObject>

namespace Tesk {

/// Deleter for smart pointers: the object dies in the event loop of its own thread.
///
/// May run on any thread and on null.
struct QObjectDeleteLater
{
    void operator()(QObject *object) const
    {
        if (object)
            object->deleteLater();
    }
};

} // namespace Tesk
