#include "Child.h"

#include <QCoreApplication>

namespace Tesk::Assets {

static constexpr int sPatienceMs = 60000;

Child::Child(const QStringList &arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/assets_store_child"),
                    arguments);
}

Child::~Child()
{
    kill();
}

QByteArray Child::line()
{
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(sPatienceMs))
            return {};
    }
    return m_process.readLine().trimmed();
}

void Child::send(const QByteArray &line)
{
    m_process.write(line + '\n');
    m_process.waitForBytesWritten(sPatienceMs);
}

void Child::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(sPatienceMs);
}

QByteArray Child::waitForAll()
{
    m_process.waitForFinished(sPatienceMs);
    return m_process.readAllStandardOutput();
}

QByteArrayList Child::rest()
{
    return m_process.readAllStandardOutput().split('\n');
}

} // namespace Tesk::Assets
