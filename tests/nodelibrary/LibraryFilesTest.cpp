#include <nodelibrary/LibraryFiles.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace Tesk::NodeLibrary {

namespace {

class LibraryFilesTest : public testing::Test
{
protected:
    void touch(const QString &relativePath)
    {
        const QFileInfo info(m_folder.filePath(relativePath));
        ASSERT_TRUE(QDir().mkpath(info.path()));
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    QStringList list() const
    {
        QStringList paths;
        for (const LibraryFiles::File &file : LibraryFiles::below(m_folder.path()).files)
            paths.append(file.relativePath);
        return paths;
    }

    QTemporaryDir m_folder;
};

} // namespace

TEST_F(LibraryFilesTest, ordersByTheBytesOfTheWholeRelativePath)
{
    // "-" is below "/" is below "a": a walk folder by folder would give another order.
    for (const char *path : {"b.mtlx", "a/z.mtlx", "a-b.mtlx", "ab.mtlx", "B.mtlx", "\u00e9.mtlx"})
        touch(QString::fromUtf8(path));

    EXPECT_EQ(list(), (QStringList{QStringLiteral("B.mtlx"), QStringLiteral("a-b.mtlx"),
                                   QStringLiteral("a/z.mtlx"), QStringLiteral("ab.mtlx"),
                                   QStringLiteral("b.mtlx"), QString::fromUtf8("\u00e9.mtlx")}));
}

TEST_F(LibraryFilesTest, takesTheEndingCaseSensitively)
{
    for (const char *path : {"a.mtlx", "b.MTLX", "c.mtlx.bak", "d.xml", ".mtlx", ".hidden.mtlx"})
        touch(QString::fromUtf8(path));

    EXPECT_EQ(list(), (QStringList{QStringLiteral(".hidden.mtlx"), QStringLiteral(".mtlx"),
                                   QStringLiteral("a.mtlx")}));
}

TEST_F(LibraryFilesTest, doesNotTakeAFolderForAFile)
{
    touch(QStringLiteral("pack.mtlx/inner.mtlx"));

    EXPECT_EQ(list(), QStringList{QStringLiteral("pack.mtlx/inner.mtlx")});
}

TEST_F(LibraryFilesTest, doesNotFollowALinkInCircles)
{
    touch(QStringLiteral("sub/a.mtlx"));
    ASSERT_TRUE(QFile::link(m_folder.path(), m_folder.filePath(QStringLiteral("sub/up"))));

    EXPECT_EQ(list(), QStringList{QStringLiteral("sub/a.mtlx")});
}

TEST_F(LibraryFilesTest, takesALoneFileByItsName)
{
    touch(QStringLiteral("sub/a.mtlx"));

    const LibraryFiles found = LibraryFiles::below(m_folder.filePath(QStringLiteral("sub/a.mtlx")));

    ASSERT_EQ(found.files.size(), 1U);
    EXPECT_EQ(found.files.front().relativePath, QStringLiteral("a.mtlx"));
    EXPECT_EQ(found.files.front().filePath, m_folder.filePath(QStringLiteral("sub/a.mtlx")));
}

TEST_F(LibraryFilesTest, findsNothingInAnEmptyFolder)
{
    const LibraryFiles found = LibraryFiles::below(m_folder.path());

    EXPECT_TRUE(found.files.empty());
    EXPECT_TRUE(found.problems.empty());
}

TEST_F(LibraryFilesTest, reportsAPathThatIsNoText)
{
    const QChar halfAPair(0xD800);

    EXPECT_EQ(LibraryFiles::below(QString(halfAPair)).problems.size(), 1U);
}

} // namespace Tesk::NodeLibrary
