#include "LibraryUnion.h"

#include <nodelibrary/Inheritance.h>

#include <QHash>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// Far beyond what people write, and safely below what an asset's body may hold.
static constexpr qsizetype sLongestNodeDef = qsizetype(8) * 1024 * 1024;

LibraryUnion::LibraryUnion(const std::vector<HeldImplementation> &held,
                           std::vector<ReadLibrary> read)
    : m_held(held)
    , m_read(std::move(read))
{
    listLibraries();
    listReadFiles();
    settleOwners();
    const auto isRead = [&](const QString &library) {
        return std::any_of(m_read.begin(), m_read.end(),
                           [&](const ReadLibrary &each) { return each.name == library; });
    };
    for (const QString &library : m_libraries) {
        if (isRead(library))
            addRead(library);
        else
            addHeld(library);
    }
    complete();
    refuseOversized();
}

std::vector<FilterPlan::Item> LibraryUnion::planItems() const
{
    std::vector<FilterPlan::Item> items;
    items.reserve(m_entries.size());
    for (const Entry &entry : m_entries)
        items.push_back({&entry.nodeDef, entry.filterName});
    return items;
}

void LibraryUnion::listLibraries()
{
    QSet<QString> known;
    const auto add = [&](const QString &library) {
        if (known.contains(library))
            return;
        known.insert(library);
        m_libraries.append(library);
    };
    for (const HeldImplementation &each : m_held)
        add(each.library);
    for (const ReadLibrary &each : m_read)
        add(each.name);
}

void LibraryUnion::listReadFiles()
{
    for (const ReadLibrary &library : m_read) {
        for (const ReadNodeDef &each : library.nodeDefs)
            m_readFiles.insert(each.nodeDef.filePath);
    }
}

// A library keeps the names it holds as long as it has them, whatever the others bring.
void LibraryUnion::settleOwners()
{
    QHash<QString, QSet<QString>> readNames;
    for (const ReadLibrary &library : m_read) {
        QSet<QString> &names = readNames[library.name];
        for (const ReadNodeDef &each : library.nodeDefs)
            names.insert(each.nodeDef.name);
    }
    for (const HeldImplementation &each : m_held) {
        const auto names = readNames.constFind(each.library);
        if (names == readNames.constEnd() || names->contains(each.nodeDef.name))
            m_owners.insert(each.nodeDef.name, each.library);
    }
    for (const QString &name : m_libraries) {
        for (const ReadLibrary &library : m_read) {
            if (library.name != name)
                continue;
            for (const ReadNodeDef &each : library.nodeDefs) {
                if (!m_owners.contains(each.nodeDef.name))
                    m_owners.insert(each.nodeDef.name, name);
            }
        }
    }
}

static qsizetype sizeOf(const Attributes &attributes)
{
    qsizetype size = 0;
    for (const auto &[name, value] : attributes)
        size += value.size();
    return size;
}

static qsizetype sizeOf(const NodeDef &nodeDef)
{
    qsizetype size = nodeDef.name.size() + nodeDef.node.size() + sizeOf(nodeDef.attributes);
    for (const auto *ports : {&nodeDef.parameters, &nodeDef.outputs}) {
        for (const NodePort &port : *ports)
            size += port.name.size() + port.type.size() + sizeOf(port.attributes);
    }
    return size;
}

// One definition that the database cannot keep must not cost the others.
void LibraryUnion::refuseOversized()
{
    const auto isOversized = [](const Entry &entry) {
        return sizeOf(entry.nodeDef) > sLongestNodeDef;
    };
    for (const Entry &entry : m_entries) {
        if (isOversized(entry))
            refuse(entry.nodeDef,
                   u"with what it inherits it has more than %1 characters"_s.arg(sLongestNodeDef));
    }
    std::erase_if(m_entries, isOversized);
}

void LibraryUnion::addHeld(const QString &library)
{
    for (const HeldImplementation &each : m_held) {
        if (each.library == library)
            m_entries.push_back({each.nodeDef, library, each.filterName, each.position});
    }
}

void LibraryUnion::addRead(const QString &library)
{
    QSet<QString> seen;
    int position = 0;
    for (ReadLibrary &part : m_read) {
        if (part.name != library)
            continue;
        for (ReadNodeDef &each : part.nodeDefs) {
            const QString &name = each.nodeDef.name;
            const QString owner = m_owners.value(name);
            if (owner != library) {
                refuse(each.nodeDef, u"the library \"%1\" holds it already"_s.arg(owner));
            } else if (seen.contains(name)) {
                refuse(each.nodeDef, u"an earlier path of the library defines it first"_s);
            } else {
                seen.insert(name);
                m_entries.push_back(
                        {std::move(each.nodeDef), library, each.filterName, position++});
            }
        }
    }
}

void LibraryUnion::refuse(const NodeDef &nodeDef, const QString &reason)
{
    m_problems.push_back(
            {.severity = Problem::Severity::NodeDefRefused,
             .file = nodeDef.filePath,
             .line = nodeDef.line,
             .column = nodeDef.column,
             .text = u"the nodedef \"%1\" is left out; %2"_s.arg(nodeDef.name, reason)});
}

void LibraryUnion::complete()
{
    std::vector<NodeDef *> nodeDefs;
    nodeDefs.reserve(m_entries.size());
    for (Entry &entry : m_entries)
        nodeDefs.push_back(&entry.nodeDef);
    // What is wrong with the other libraries was told when they came.
    for (Problem &problem : Inheritance::complete(nodeDefs)) {
        if (m_readFiles.contains(problem.file))
            m_problems.push_back(std::move(problem));
    }
}

} // namespace Tesk::NodeLibrary
