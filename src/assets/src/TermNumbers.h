#pragma once

#include <QString>
#include <QtGlobal>

#include <array>
#include <map>
#include <optional>

namespace Tesk::Assets {

/// The numbers of the terms that a store met.
///
/// Nearly all texts asked for are the same few shared ones: the place where such a text lies finds
/// it again without a hash of it, which costs more than all else of a look-up.
class TermNumbers
{
public:
    std::optional<qint64> find(const QString &text);
    void insert(const QString &text, qint64 number);
    void clear();

private:
    struct Entry
    {
        QString text;
        qint64 number = 0;
    };

    Entry &recent(const QString &text);

    std::array<Entry, 64> m_recent;  // each where one of its text may lie; number 0: none
    std::map<QString, qint64> m_all; // a few dozen
};

} // namespace Tesk::Assets
