#include "NodeDefParser.h"

#include "TagScan.h"

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// Ten times what the format defines; see TagScan.
static constexpr int sMostAttributes = 1000;

static std::optional<NodePort::Kind> portKindOf(QStringView element)
{
    if (element == "input"_L1)
        return NodePort::Kind::Input;
    if (element == "output"_L1)
        return NodePort::Kind::Output;
    if (element == "parameter"_L1)
        return NodePort::Kind::Parameter;
    if (element == "token"_L1)
        return NodePort::Kind::Token;
    return std::nullopt;
}

// The nodedef's member that holds an attribute, or null for one that is kept by its name only.
static QString NodeDef::*memberFor(QStringView attribute)
{
    if (attribute == "name"_L1)
        return &NodeDef::name;
    if (attribute == "node"_L1)
        return &NodeDef::node;
    if (attribute == "nodegroup"_L1)
        return &NodeDef::nodeGroup;
    if (attribute == "version"_L1)
        return &NodeDef::version;
    if (attribute == "inherit"_L1)
        return &NodeDef::inherit;
    if (attribute == "namespace"_L1)
        return &NodeDef::nameSpace;
    if (attribute == "target"_L1)
        return &NodeDef::target;
    if (attribute == "type"_L1)
        return &NodeDef::type;
    return nullptr;
}

// ASCII is UTF-8, and so says many a file that is.
static bool isUtf8(QStringView encoding)
{
    return encoding.isEmpty() || encoding.compare("UTF-8"_L1, Qt::CaseInsensitive) == 0
           || encoding.compare("US-ASCII"_L1, Qt::CaseInsensitive) == 0;
}

NodeDefParser::NodeDefParser(const QByteArray &bytes, const QString &filePath,
                             const QString &relativePath)
    : m_filePath(filePath)
    , m_relativePath(relativePath)
{
    m_xml.setNamespaceProcessing(false);
    // Some files have blanks in front of the XML declaration, which the XML reader refuses.
    qsizetype begin = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    for (; begin < bytes.size() && QByteArrayView(" \t\r\n").contains(bytes[begin]); ++begin) {
        ++m_offset.column;
        if (bytes[begin] == '\n')
            m_offset = {m_offset.line + 1, 0};
    }
    m_bytes = begin == 0 ? bytes : bytes.sliced(begin);
    m_xml.addData(m_bytes);
}

bool NodeDefParser::parse()
{
    if (!isReadable() || !readRoot())
        return false;
    Position position;
    while (nextElement(position)) {
        if (m_xml.qualifiedName() == "nodedef"_L1)
            readNodeDef(position);
        else
            m_xml.skipCurrentElement();
    }
    return readToEnd();
}

// Turns away what the XML reader could not cope with.
bool NodeDefParser::isReadable()
{
    if (m_bytes.startsWith("\xFF\xFE") || m_bytes.startsWith("\xFE\xFF")
        || QByteArrayView(m_bytes).first(std::min<qsizetype>(m_bytes.size(), 4)).contains('\0'))
        return refuse(u"is not encoded in UTF-8"_s);
    const qsizetype crowded = TagScan::findCrowdedTag(m_bytes, sMostAttributes);
    if (crowded >= 0) {
        const QByteArrayView before = QByteArrayView(m_bytes).first(crowded);
        const qint64 line = before.count('\n') + 1;
        const qint64 column = before.size() - (before.lastIndexOf('\n') + 1);
        return refuse(u"has a tag with more than %1 attributes"_s.arg(sMostAttributes),
                      shifted(line, column));
    }
    return true;
}

bool NodeDefParser::readRoot()
{
    while (!m_xml.atEnd() && m_xml.readNext() != QXmlStreamReader::StartElement) {
        if (m_xml.isStartDocument() && !isUtf8(m_xml.documentEncoding()))
            return refuse(u"is declared as %1, expected UTF-8"_s.arg(m_xml.documentEncoding()));
        // Entities are for other formats; a few lines of them can grow beyond any memory.
        if (m_xml.tokenType() == QXmlStreamReader::DTD && !m_xml.entityDeclarations().isEmpty())
            return refuse(u"declares entities, which a node library may not"_s);
    }
    if (m_xml.hasError())
        return readToEnd();
    if (m_xml.qualifiedName() != "materialx"_L1)
        return refuse(
                u"the root element is \"%1\", expected \"materialx\""_s.arg(m_xml.qualifiedName()));
    m_nameSpace = m_xml.attributes().value("namespace"_L1).toString();
    return true;
}

bool NodeDefParser::readToEnd()
{
    while (!m_xml.atEnd())
        m_xml.readNext();
    if (!m_xml.hasError())
        return true;
    // The reader stands behind what it objects to.
    return refuse(u"not well-formed: "_s + m_xml.errorString(),
                  shifted(m_xml.lineNumber(), std::max<qint64>(m_xml.columnNumber(), 1)));
}

// The next child of the current element; false at its end.
bool NodeDefParser::nextElement(Position &position)
{
    position = this->position();
    while (m_xml.readNext() != QXmlStreamReader::Invalid) {
        if (m_xml.isStartElement())
            return true;
        if (m_xml.isEndElement() || m_xml.isEndDocument())
            return false;
        position = this->position();
        // The reader finds the end of a text in the "<" behind it.
        if (m_xml.isCharacters() && !m_xml.isCDATA())
            --position.column;
    }
    return false;
}

void NodeDefParser::readNodeDef(Position position)
{
    NodeDef nodeDef;
    nodeDef.nameSpace = m_nameSpace;
    nodeDef.filePath = m_filePath;
    nodeDef.relativePath = m_relativePath;
    nodeDef.line = position.line;
    nodeDef.column = position.column;
    const QXmlStreamAttributes attributes = m_xml.attributes();
    for (const QXmlStreamAttribute &attribute : attributes) {
        const QStringView name = attribute.qualifiedName();
        if (QString NodeDef::*const member = memberFor(name))
            nodeDef.*member = attribute.value().toString();
        else if (name == "isdefaultversion"_L1)
            nodeDef.isDefaultVersion = attribute.value() == "true"_L1;
        else if (const auto known = attributeFromText(name))
            nodeDef.attributes.set(*known, attribute.value().toString());
    }
    // An empty namespace of its own says as little as none.
    if (nodeDef.nameSpace.isEmpty())
        nodeDef.nameSpace = m_nameSpace;

    readPorts(nodeDef);
    if (nodeDef.name.isEmpty() || nodeDef.node.isEmpty()) {
        const QString missing = nodeDef.name.isEmpty() ? u"name"_s : u"node"_s;
        report(Problem::Severity::NodeDefRefused, position,
               u"the nodedef \"%1\" has no \"%2\"; it is left out"_s.arg(nodeDef.name, missing));
        return;
    }
    nodeDef.name = qualified(nodeDef.name, nodeDef.nameSpace);
    nodeDef.node = qualified(nodeDef.node, nodeDef.nameSpace);
    m_nodeDefs.push_back(std::move(nodeDef));
}

void NodeDefParser::readPorts(NodeDef &nodeDef)
{
    QSet<QString> names;
    Position position;
    while (nextElement(position)) {
        if (const auto kind = portKindOf(m_xml.qualifiedName()))
            readPort(*kind, position, nodeDef, names);
        m_xml.skipCurrentElement();
    }
}

void NodeDefParser::readPort(NodePort::Kind kind, Position position, NodeDef &nodeDef,
                             QSet<QString> &names)
{
    NodePort port;
    port.kind = kind;
    const QXmlStreamAttributes attributes = m_xml.attributes();
    for (const QXmlStreamAttribute &attribute : attributes) {
        const QStringView name = attribute.qualifiedName();
        if (name == "name"_L1)
            port.name = attribute.value().toString();
        else if (name == "type"_L1)
            port.type = attribute.value().toString();
        else if (const auto known = attributeFromText(name))
            port.attributes.set(*known, attribute.value().toString());
    }
    if (port.name.isEmpty())
        return;
    const qsizetype before = names.size();
    names.insert(port.name);
    if (names.size() == before) {
        report(Problem::Severity::Remark, position,
               u"\"%1\" has \"%2\" twice; the second is left out"_s.arg(nodeDef.name, port.name));
        return;
    }
    (kind == NodePort::Kind::Output ? nodeDef.outputs : nodeDef.parameters)
            .push_back(std::move(port));
}

// Whatever was read before is dropped: a file counts whole or not at all.
bool NodeDefParser::refuse(const QString &reason, std::optional<Position> place)
{
    m_nodeDefs.clear();
    m_problems.clear();
    report(Problem::Severity::FileRefused, place.value_or(position()), reason);
    return false;
}

void NodeDefParser::report(Problem::Severity severity, Position position, const QString &text)
{
    m_problems.push_back({.severity = severity,
                          .file = m_filePath,
                          .line = position.line,
                          .column = position.column,
                          .text = text});
}

NodeDefParser::Position NodeDefParser::position() const
{
    return shifted(m_xml.lineNumber(), m_xml.columnNumber() + 1);
}

NodeDefParser::Position NodeDefParser::shifted(qint64 line, qint64 column) const
{
    return {line + m_offset.line, line == 1 ? column + m_offset.column : column};
}

} // namespace Tesk::NodeLibrary
