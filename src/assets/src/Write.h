#pragma once

#include "DatabaseCore.h"

namespace Tesk::Assets {

/// One write of one thread: joins the thread's scope, or is stored by finish().
///
/// Where there is no scope and finish() was not reached, or failed, everything is put back.
class DatabaseCore::Write
{
public:
    explicit Write(DatabaseCore &core);
    ~Write();
    Q_DISABLE_COPY_MOVE(Write)

    /// To be used under the mutex of the database only.
    Batch &batch() { return *m_batch; }
    void finish();

private:
    DatabaseCore &m_core;
    std::unique_ptr<Batch> m_own; // null inside a scope
    Batch *m_batch;
};

} // namespace Tesk::Assets
