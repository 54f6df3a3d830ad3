#pragma once

#include <gtest/gtest.h>

#include <QString>

namespace Tesk::NodeLibrary {

/// For tests on real libraries, which are not part of this project.
///
/// FILTERBASE_TEST_DATA, of the environment or of the build's configuration, names their
/// folder. Without it these tests cannot run and are skipped.
class RealDataTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_root = qEnvironmentVariable("FILTERBASE_TEST_DATA");
        if (m_root.isEmpty())
            m_root = QStringLiteral(REAL_DATA_FOLDER);
        if (m_root.isEmpty())
            GTEST_SKIP() << "FILTERBASE_TEST_DATA names no folder of real node libraries";
    }

    QString folder(const QString &name) const { return m_root + u'/' + name; }

private:
    QString m_root;
};

} // namespace Tesk::NodeLibrary
