#pragma once

#include <nodelibrary/FilterPlan.h>
#include <nodelibrary/LibraryDiff.h>

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <vector>

namespace Tesk::NodeLibrary {

/// The nodedefs that a catalogue has after an import, completed and in canonical order.
class LibraryUnion
{
public:
    struct Entry
    {
        NodeDef nodeDef;
        QString library;
        QString filterName;
        int position = 0;
    };

    LibraryUnion(const std::vector<HeldImplementation> &held, std::vector<ReadLibrary> read);

    std::vector<Entry> &entries() { return m_entries; }
    const QStringList &libraries() const { return m_libraries; }
    Problems &problems() { return m_problems; }

    std::vector<FilterPlan::Item> planItems() const;

private:
    void listLibraries();
    void listReadFiles();
    void settleOwners();
    void addHeld(const QString &library);
    void addRead(const QString &library);
    void complete();
    void refuseOversized();
    void refuse(const NodeDef &nodeDef, const QString &reason);

    const std::vector<HeldImplementation> &m_held;
    std::vector<ReadLibrary> m_read; // what is taken over leaves it
    QSet<QString> m_readFiles;
    QStringList m_libraries;
    QHash<QString, QString> m_owners; // the library of each nodedef name
    std::vector<Entry> m_entries;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
