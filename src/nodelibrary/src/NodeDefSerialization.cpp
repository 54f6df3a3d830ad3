#include <nodelibrary/NodeDefSerialization.h>

#include <data/Serialization.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace Tesk::Data::Serialization {

using NodeLibrary::AttributeName;
using NodeLibrary::Attributes;
using NodeLibrary::NodeDef;
using NodeLibrary::NodePort;

// Stored in user files: never rename. An attribute of the format keeps its own spelling, which
// none of these may have.
static constexpr std::array<std::pair<const char *, QString NodeDef::*>, 8> sTexts{{
        {"name", &NodeDef::name},
        {"node", &NodeDef::node},
        {"namespace", &NodeDef::nameSpace},
        {"nodegroup", &NodeDef::nodeGroup},
        {"version", &NodeDef::version},
        {"inherit", &NodeDef::inherit},
        {"target", &NodeDef::target},
        {"type", &NodeDef::type},
}};
static constexpr auto sIsDefaultVersion = "isdefaultversion";
static constexpr auto sParameters = "parameters";
static constexpr auto sOutputs = "outputs";
static constexpr auto sPort = "port";
static constexpr auto sKind = "kind";
static constexpr auto sName = "name";
static constexpr auto sType = "type";
static constexpr auto sInherited = "inherited";

static void writeText(Node &node, const char *name, const QString &text)
{
    if (!text.isEmpty())
        node.setAttribute(name, text);
}

static void writeAttributes(Node &node, const Attributes &attributes)
{
    for (const auto &[name, value] : attributes)
        node.setAttribute(attributeText(name), value);
}

static Attributes readAttributes(const Node &node)
{
    Attributes attributes;
    for (const NodeChild &child : node.children()) {
        if (child.kind != ChildKind::Attribute || child.node.valueKind() != ValueKind::Text)
            continue;
        const QString spelling =
                QString::fromUtf8(child.name.data(), static_cast<qsizetype>(child.name.size()));
        if (const auto name = NodeLibrary::attributeFromText(spelling))
            attributes.set(*name, child.node.toText());
    }
    return attributes;
}

static void writePorts(Node &node, const char *name, const std::vector<NodePort> &ports)
{
    if (ports.empty())
        return;
    ArrayNode array = node.addArray(name, sPort, static_cast<qsizetype>(ports.size()));
    for (const NodePort &port : ports) {
        Node item = array.append();
        writeText(item, sName, port.name);
        writeText(item, sType, port.type);
        if (port.kind != NodePort::Kind::Input)
            item.setAttribute(sKind, static_cast<int>(port.kind));
        if (port.inherited)
            item.setAttribute(sInherited, true);
        writeAttributes(item, port.attributes);
    }
}

static std::vector<NodePort> readPorts(const Node &node, const char *name)
{
    std::vector<NodePort> ports;
    const ArrayNode array = node.findArray(name, sPort);
    if (array.isNull())
        return ports;
    ports.reserve(static_cast<std::size_t>(array.size()));
    for (const Node item : array) {
        NodePort port;
        port.name = item.attribute(sName, QString());
        port.type = item.attribute(sType, QString());
        const qint64 kind = item.attribute(sKind, 0);
        port.kind = static_cast<NodePort::Kind>(
                std::clamp<qint64>(kind, 0, static_cast<qint64>(NodePort::Kind::Output)));
        port.inherited = item.attribute(sInherited, false);
        port.attributes = readAttributes(item);
        ports.push_back(std::move(port));
    }
    return ports;
}

void serializeToNode(Node &node, const NodeDef &nodeDef)
{
    for (const auto &[name, member] : sTexts)
        writeText(node, name, nodeDef.*member);
    if (nodeDef.isDefaultVersion)
        node.setAttribute(sIsDefaultVersion, true);
    writeAttributes(node, nodeDef.attributes);
    writePorts(node, sParameters, nodeDef.parameters);
    writePorts(node, sOutputs, nodeDef.outputs);
}

void deserializeFromNode(const Node &node, NodeDef &nodeDef)
{
    NodeDef read;
    for (const auto &[name, member] : sTexts)
        read.*member = node.attribute(name, QString());
    read.isDefaultVersion = node.attribute(sIsDefaultVersion, false);
    read.attributes = readAttributes(node);
    read.parameters = readPorts(node, sParameters);
    read.outputs = readPorts(node, sOutputs);
    nodeDef = std::move(read);
}

} // namespace Tesk::Data::Serialization
