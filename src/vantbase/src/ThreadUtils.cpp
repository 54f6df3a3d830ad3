#include <vantbase/ThreadUtils.h>

#include <QCoreApplication>
#include <QThread>

#include <thread>

namespace Tesk::VantBase::ThreadUtils {

static const std::thread::id sLoadingThread = std::this_thread::get_id();

bool isMainThread()
{
    if (const QCoreApplication *application = QCoreApplication::instance())
        return QThread::currentThread() == application->thread();
    return std::this_thread::get_id() == sLoadingThread;
}

} // namespace Tesk::VantBase::ThreadUtils
