#pragma once

#include <QtGlobal>

#include <stop_token>
#include <thread>

namespace Tesk::Command {

/// Turns the first Ctrl-C into a request to stop; the second ends the process as usual.
///
/// One at a time.
class Interrupt
{
public:
    Interrupt();
    ~Interrupt();
    Q_DISABLE_COPY_MOVE(Interrupt)

    std::stop_token token() const { return m_stop.get_token(); }

private:
    std::stop_source m_stop;
    int m_pipe[2] = {-1, -1};
    std::thread m_watcher;
};

} // namespace Tesk::Command
