#pragma once

#include <nodelibrary/FilterPlan.h>
#include <nodelibrary/LibraryDiff.h>

#include <QHash>
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

    LibraryUnion(const std::vector<HeldImplementation> &held, const std::vector<ReadLibrary> &read);

    const std::vector<Entry> &entries() const { return m_entries; }
    const QStringList &libraries() const { return m_libraries; }
    Problems &problems() { return m_problems; }

    std::vector<FilterPlan::Item> planItems() const;

private:
    void listLibraries();
    void settleOwners();
    void addHeld(const QString &library);
    void addRead(const QString &library);
    void complete();
    void refuseOversized();
    void refuse(const NodeDef &nodeDef, const QString &reason);

    const std::vector<HeldImplementation> &m_held;
    const std::vector<ReadLibrary> &m_read;
    QStringList m_libraries;
    QHash<QString, QString> m_owners; // the library of each nodedef name
    std::vector<Entry> m_entries;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
