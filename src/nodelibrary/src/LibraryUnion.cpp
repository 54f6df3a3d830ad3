#include "LibraryUnion.h"

#include <nodelibrary/Inheritance.h>

#include <algorithm>
#include <functional>
#include <set>

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
    settleHeldNames();
    const auto isRead = [&](const QString &library) {
        return std::any_of(m_read.begin(), m_read.end(),
                           [&](const ReadLibrary &each) { return each.name == library; });
    };
    std::size_t mostEntries = m_held.size();
    for (const ReadLibrary &library : m_read)
        mostEntries += library.nodeDefs.size();
    m_entries.reserve(mostEntries);
    for (const QString &library : m_libraries) {
        if (isRead(library))
            addRead(library);
        else
            addHeld(library);
    }
    complete();
    refuseOversized();
}

std::size_t LibraryUnion::indexOf(const NodeDef &nodeDef) const
{
    // The entries stand in one array, hence in the order of their addresses.
    const auto found = std::lower_bound(m_entries.begin(), m_entries.end(), &nodeDef,
                                        [](const Entry &entry, const NodeDef *sought) {
                                            return std::less<>()(&entry.nodeDef, sought);
                                        });
    return static_cast<std::size_t>(found - m_entries.begin());
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
    std::set<QString> known;
    const auto add = [&](const QString &library) {
        if (known.insert(library).second)
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
        const QString *last = nullptr; // nodedefs come file by file
        for (const ReadNodeDef &each : library.nodeDefs) {
            if (last == nullptr || each.nodeDef.filePath != *last)
                last = &*m_readFiles.insert(each.nodeDef.filePath).first;
        }
    }
}

// A library keeps the names it holds as long as it has them, whatever the others bring.
void LibraryUnion::settleHeldNames()
{
    if (m_held.empty())
        return;
    std::map<QString, std::set<QString>> readNames;
    for (const ReadLibrary &library : m_read) {
        std::set<QString> &names = readNames[library.name];
        for (const ReadNodeDef &each : library.nodeDefs)
            names.insert(each.nodeDef.name);
    }
    for (const HeldImplementation &each : m_held) {
        const auto names = readNames.find(each.library);
        if (names == readNames.end() || names->second.contains(each.nodeDef.name))
            m_owners.insert_or_assign(each.nodeDef.name, Owner{each.library});
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
    std::erase_if(m_entries, [this](const Entry &entry) {
        if (sizeOf(entry.nodeDef) <= sLongestNodeDef)
            return false;
        refuse(entry.nodeDef,
               u"with what it inherits it has more than %1 characters"_s.arg(sLongestNodeDef));
        return true;
    });
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
    int position = 0;
    for (ReadLibrary &part : m_read) {
        if (part.name != library)
            continue;
        for (ReadNodeDef &each : part.nodeDefs) {
            // What no library has had before goes to the first that brings it.
            Owner &owner = m_owners.try_emplace(each.nodeDef.name, Owner{library}).first->second;
            if (owner.library != library) {
                refuse(each.nodeDef, u"the library \"%1\" holds it already"_s.arg(owner.library));
            } else if (owner.isTaken) {
                refuse(each.nodeDef, u"an earlier path of the library defines it first"_s);
            } else {
                owner.isTaken = true;
                m_entries.push_back(
                        {std::move(each.nodeDef), library, std::move(each.filterName), position++});
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
