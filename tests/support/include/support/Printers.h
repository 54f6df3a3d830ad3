#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <ostream>

// Let googletest show Qt's texts as texts. Include it in every test file that compares them.

inline void PrintTo(const QString &text, std::ostream *stream)
{
    if (text.isNull())
        *stream << "null QString";
    else
        *stream << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *stream)
{
    if (bytes.isNull())
        *stream << "null QByteArray";
    else
        *stream << "b\"" << bytes.toPercentEncoding(" !#$&'()*+,/:;<=>?@[]^`{|}").toStdString()
                << '"';
}

inline void PrintTo(const QUrl &url, std::ostream *stream)
{
    *stream << "url " << url.toString(QUrl::FullyEncoded).toStdString();
}
