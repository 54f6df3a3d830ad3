#include <nodelibrary/Inheritance.h>

#include <algorithm>
#include <map>
#include <set>
#include <span>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// Far beyond what a library made by people needs; without them a small hostile file could ask for
// any amount of memory.
static constexpr int sLongestLine = 64;
static constexpr std::size_t sMostInheritedPorts = 1'000'000;

namespace {

class Completion
{
public:
    explicit Completion(const std::vector<NodeDef *> &nodeDefs)
        : m_nodeDefs(nodeDefs)
    {
        for (NodeDef *nodeDef : nodeDefs) {
            dropInherited(nodeDef->parameters);
            dropInherited(nodeDef->outputs);
            if (!nodeDef->inherit.isEmpty() || nodeDef->outputs.empty())
                m_incomplete.push_back(nodeDef);
        }
    }

    Problems run()
    {
        if (m_incomplete.empty())
            return {};
        for (const NodeDef *nodeDef : m_nodeDefs)
            m_byName.insert_or_assign(nodeDef->name, nodeDef);
        // The lines are read while the ports are still the own ones only.
        std::vector<std::vector<const NodeDef *>> lines;
        for (const NodeDef *nodeDef : m_incomplete)
            lines.push_back(lineOf(*nodeDef));
        std::vector<Added> added;
        for (std::size_t i = 0; i < m_incomplete.size(); ++i)
            added.push_back(contributionsTo(*m_incomplete[i], lines[i]));
        for (std::size_t i = 0; i < m_incomplete.size(); ++i) {
            append(m_incomplete[i]->parameters, std::move(added[i].parameters));
            append(m_incomplete[i]->outputs, std::move(added[i].outputs));
        }
        return std::move(m_problems);
    }

private:
    using Ports = std::vector<NodePort>;
    struct Added
    {
        Ports parameters;
        Ports outputs;
    };

    static void dropInherited(Ports &ports)
    {
        std::erase_if(ports, [](const NodePort &port) { return port.inherited; });
    }

    static void append(Ports &ports, Ports &&more)
    {
        ports.insert(ports.end(), std::make_move_iterator(more.begin()),
                     std::make_move_iterator(more.end()));
    }

    void report(const NodeDef &nodeDef, const QString &text)
    {
        m_problems.push_back({.severity = Problem::Severity::Remark,
                              .file = nodeDef.filePath,
                              .line = nodeDef.line,
                              .column = nodeDef.column,
                              .text = text});
    }

    const NodeDef *baseOf(const NodeDef &nodeDef) const
    {
        auto found = m_byName.find(qualified(nodeDef.inherit, nodeDef.nameSpace));
        if (found == m_byName.end())
            found = m_byName.find(nodeDef.inherit);
        return found == m_byName.end() ? nullptr : found->second;
    }

    // The nodedef and its bases, nearest first.
    std::vector<const NodeDef *> lineOf(const NodeDef &first)
    {
        std::vector<const NodeDef *> line{&first};
        while (!line.back()->inherit.isEmpty()) {
            const NodeDef *base = baseOf(*line.back());
            if (base == nullptr) {
                // Told once, by the nodedef that names the missing one.
                if (line.size() == 1)
                    report(first, u"\"%1\" inherits from \"%2\", which no file defines"_s.arg(
                                          first.name, first.inherit));
                break;
            }
            if (base == &first) {
                report(first, u"\"%1\" inherits from itself by way of \"%2\""_s.arg(
                                      first.name, line.back()->name));
                break;
            }
            if (std::find(line.begin(), line.end(), base) != line.end())
                break;
            if (line.size() >= sLongestLine) {
                report(first, u"\"%1\" has more than %2 bases; the others are left out"_s.arg(
                                      first.name, QString::number(sLongestLine - 1)));
                break;
            }
            line.push_back(base);
        }
        return line;
    }

    Added contributionsTo(const NodeDef &nodeDef, std::span<const NodeDef *const> line)
    {
        Added added;
        if (line.size() > 1) {
            collectMissing(nodeDef, line, &NodeDef::parameters, added.parameters);
            collectMissing(nodeDef, line, &NodeDef::outputs, added.outputs);
        }
        if (nodeDef.outputs.empty() && added.outputs.empty())
            addImpliedOutput(nodeDef, line, added.outputs);
        return added;
    }

    void collectMissing(const NodeDef &nodeDef, std::span<const NodeDef *const> line,
                        Ports NodeDef::*ports, Ports &missing)
    {
        std::set<QString> names;
        for (const NodePort &port : nodeDef.*ports)
            names.insert(port.name);
        for (const NodeDef *base : line.subspan(1)) {
            for (const NodePort &port : base->*ports) {
                if (names.contains(port.name))
                    continue;
                if (m_inheritedPorts == sMostInheritedPorts) {
                    reportTooMany(nodeDef);
                    return;
                }
                ++m_inheritedPorts;
                names.insert(port.name);
                missing.push_back(port);
                missing.back().inherited = true;
            }
        }
    }

    void reportTooMany(const NodeDef &nodeDef)
    {
        if (!m_toldTooMany)
            report(nodeDef, u"\"%1\" and others inherit more than %2 ports together; "
                            "the rest is left out"_s.arg(nodeDef.name,
                                                         QString::number(sMostInheritedPorts)));
        m_toldTooMany = true;
    }

    static void addImpliedOutput(const NodeDef &nodeDef, std::span<const NodeDef *const> line,
                                 Ports &outputs)
    {
        const auto typed = std::find_if(line.begin(), line.end(), [](const NodeDef *each) {
            return !each->type.isEmpty() && each->type != "multioutput"_L1;
        });
        if (typed == line.end())
            return;
        NodePort output{.kind = NodePort::Kind::Output,
                        .name = u"out"_s,
                        .type = (*typed)->type,
                        .attributes = {},
                        .inherited = true};
        for (const AttributeName name : {AttributeName::Default, AttributeName::DefaultInput}) {
            if (nodeDef.attributes.contains(name))
                output.attributes.set(name, nodeDef.attributes.value(name));
        }
        outputs.push_back(std::move(output));
    }

    const std::vector<NodeDef *> &m_nodeDefs;
    std::vector<NodeDef *> m_incomplete; // that may lack ports
    std::map<QString, const NodeDef *> m_byName;
    Problems m_problems;
    std::size_t m_inheritedPorts = 0;
    bool m_toldTooMany = false;
};

} // namespace

Problems Inheritance::complete(const std::vector<NodeDef *> &nodeDefs)
{
    return Completion(nodeDefs).run();
}

} // namespace Tesk::NodeLibrary
