#include <support/DeferredDeletes.h>

#include <QCoreApplication>
#include <QEvent>

namespace Tesk::TestSupport {

namespace {

class DeletionCounter : public QObject
{
public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::DeferredDelete)
            ++count;
        return false;
    }

    int count = 0;
};

} // namespace

int drainDeferredDeletes()
{
    DeletionCounter counter;
    QCoreApplication::instance()->installEventFilter(&counter);
    for (int before = -1; counter.count != before;) {
        before = counter.count;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return counter.count;
}

} // namespace Tesk::TestSupport
