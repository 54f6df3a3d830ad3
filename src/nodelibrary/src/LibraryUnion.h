#pragma once

#include <nodelibrary/FilterPlan.h>
#include <nodelibrary/LibraryDiff.h>

#include <QString>
#include <QStringList>

#include <cstddef>
#include <map>
#include <set>
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

    /// The place of the entry whose definition \a nodeDef is.
    std::size_t indexOf(const NodeDef &nodeDef) const;

    std::vector<FilterPlan::Item> planItems() const;

private:
    struct Owner
    {
        QString library;
        bool isTaken = false; // an entry bears the name
    };

    void listLibraries();
    void listReadFiles();
    void settleHeldNames();
    void addHeld(const QString &library);
    void addRead(const QString &library);
    void complete();
    void refuseOversized();
    void refuse(const NodeDef &nodeDef, const QString &reason);

    const std::vector<HeldImplementation> &m_held;
    std::vector<ReadLibrary> m_read; // what is taken over leaves it
    std::set<QString> m_readFiles;
    QStringList m_libraries;
    std::map<QString, Owner> m_owners; // of each nodedef name
    std::vector<Entry> m_entries;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
