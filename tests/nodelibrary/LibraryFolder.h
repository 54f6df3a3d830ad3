#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace Tesk::NodeLibrary {

/// A folder of library files that lives as long as the test.
class LibraryFolder
{
public:
    /// Writes the file \a relativePath with \a body inside its root element.
    void write(const QString &relativePath, const QByteArray &body)
    {
        writeRaw(relativePath, "<materialx version=\"1.39\">" + body + "</materialx>");
    }

    void writeRaw(const QString &relativePath, const QByteArray &bytes)
    {
        const QFileInfo info(m_folder.filePath(relativePath));
        ASSERT_TRUE(QDir().mkpath(info.path()));
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(bytes), bytes.size());
    }

    void remove(const QString &relativePath)
    {
        ASSERT_TRUE(QFile::remove(m_folder.filePath(relativePath)));
    }

    QString path(const QString &relativePath = {}) const
    {
        return relativePath.isEmpty() ? m_folder.path() : m_folder.filePath(relativePath);
    }

private:
    QTemporaryDir m_folder;
};

} // namespace Tesk::NodeLibrary
