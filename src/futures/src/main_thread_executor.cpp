#include <futures/main_thread_executor.h>

#include <futures/future_state.h>

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <memory>
#include <mutex>
#include <utility>

namespace Tesk {

namespace {

// Carries its task: an event that is thrown away, by whomever, cancels instead of getting lost.
class TaskEvent : public QEvent
{
public:
    explicit TaskEvent(future_task task)
        : QEvent(sType)
        , m_task(std::move(task))
    {}

    future_task takeTask() { return std::move(m_task); }

    static const QEvent::Type sType;

private:
    future_task m_task;
};

const QEvent::Type TaskEvent::sType = static_cast<QEvent::Type>(QEvent::registerEventType());

// The way to the event loop: open while there is an application object.
class Gate
{
public:
    // Never destroyed: other threads may post while the process ends.
    static Gate &instance()
    {
        static Gate &gate = *new Gate;
        return gate;
    }

    void open();
    void close();
    void post(future_task task);

private:
    // Lives on the application's thread and dies with the application.
    class Receiver : public QObject
    {
    public:
        explicit Receiver(Gate &gate)
            : m_gate(gate)
        {}

        bool event(QEvent *event) override;

    private:
        Gate &m_gate;
    };

    std::mutex m_mutex;
    // guarded by m_mutex
    std::unique_ptr<Receiver> m_receiver;
};

bool Gate::Receiver::event(QEvent *event)
{
    {
        // What the poster wrote, the type included, happened before: not left to Qt's locks alone.
        const std::lock_guard lock(m_gate.m_mutex);
    }
    if (event->type() != TaskEvent::sType)
        return QObject::event(event);

    const FutureDetail::FreshRunScope scope;
    static_cast<TaskEvent *>(event)->takeTask()();
    return true;
}

void Gate::open()
{
    auto receiver = std::make_unique<Receiver>(*this);
    // A library loaded late gets here on the thread that loads it.
    receiver->moveToThread(QCoreApplication::instance()->thread());
    {
        const std::lock_guard lock(m_mutex);
        m_receiver.swap(receiver);
    }
    qAddPostRoutine([] { instance().close(); });
}

// Runs at the start of the application's destructor, before it waits for Qt's thread pool,
// whose jobs may be waiting for a task.
void Gate::close()
{
    std::unique_ptr<Receiver> receiver;
    {
        const std::lock_guard lock(m_mutex);
        receiver = std::move(m_receiver);
    }
    // Destroyed outside the lock: it cancels what is queued, and continuations may post again.
}

void Gate::post(future_task task)
{
    auto event = std::make_unique<TaskEvent>(std::move(task));
    const std::lock_guard lock(m_mutex);
    if (m_receiver)
        QCoreApplication::postEvent(m_receiver.get(), event.release());
}

void openGate()
{
    Gate::instance().open();
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(openGate) // runs for each application object

main_thread_executor::main_thread_executor() = default;
main_thread_executor::~main_thread_executor() = default;

main_thread_executor &main_thread_executor::instance()
{
    static main_thread_executor &executor = *new main_thread_executor; // as the gate
    return executor;
}

void main_thread_executor::post(future_task task)
{
    Gate::instance().post(std::move(task));
}

} // namespace Tesk
