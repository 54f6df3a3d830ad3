#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QString>

namespace FilterBaseTesting {

/// The content of a stored form that was written once and never changes.
inline QByteArray golden(const char *name)
{
    QFile file(QStringLiteral(GOLDEN_DIR "/") + QLatin1String(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll();
}

} // namespace FilterBaseTesting
