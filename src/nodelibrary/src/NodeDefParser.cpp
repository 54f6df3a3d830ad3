#include "NodeDefParser.h"

#include "TagScan.h"

#include <algorithm>
#include <new>
#include <type_traits>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

static_assert(std::is_same_v<XML_Char, char>, "expat must have been built for UTF-8");

// Ten times what the format defines; see TagScan.
static constexpr int sMostAttributes = 1000;

static std::optional<NodePort::Kind> portKindOf(QLatin1StringView element)
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
static QString NodeDef::*memberFor(QLatin1StringView attribute)
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
static bool isUtf8(QLatin1StringView encoding)
{
    return encoding.compare("UTF-8"_L1, Qt::CaseInsensitive) == 0
           || encoding.compare("US-ASCII"_L1, Qt::CaseInsensitive) == 0;
}

static QString reasonOf(XML_Error error)
{
    // What expat says of it is what every one of these messages begins with.
    const QString text = error == XML_ERROR_INVALID_TOKEN
                                 ? u"invalid token"_s
                                 : QString::fromUtf8(XML_ErrorString(error));
    return u"not well-formed: "_s + text;
}

NodeDefParser::NodeDefParser(const QByteArray &bytes, const QString &filePath,
                             const QString &relativePath)
    : m_xml(XML_ParserCreate("UTF-8"))
    , m_filePath(filePath)
    , m_relativePath(relativePath)
{
    if (!m_xml)
        throw std::bad_alloc();
    // Some files have blanks in front of the XML declaration, which the XML parser refuses.
    qsizetype begin = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    for (; begin < bytes.size() && QByteArrayView(" \t\r\n").contains(bytes[begin]); ++begin) {
        ++m_offset.column;
        if (bytes[begin] == '\n')
            m_offset = {m_offset.line + 1, 0};
    }
    m_bytes = begin == 0 ? bytes : bytes.sliced(begin);
    listen();
}

// Calls what an event is for; what it throws waits until the XML parser has returned.
template<class Work>
void NodeDefParser::guard(void *self, const Work &work)
{
    auto &parser = *static_cast<NodeDefParser *>(self);
    if (parser.m_isRefused || parser.m_thrown)
        return; // an event or two may still come
    try {
        work(parser);
    } catch (...) {
        parser.m_thrown = std::current_exception();
        parser.stop();
    }
}

void NodeDefParser::listen()
{
    XML_SetUserData(m_xml.get(), this);
    XML_SetElementHandler(
            m_xml.get(),
            [](void *self, const XML_Char *name, AttributeList attributes) {
                guard(self, [&](NodeDefParser &parser) {
                    parser.beginElement(QLatin1StringView(name), attributes);
                });
            },
            [](void *self, const XML_Char *) {
                guard(self, [](NodeDefParser &parser) { parser.endElement(); });
            });
    XML_SetXmlDeclHandler(m_xml.get(), [](void *self, const XML_Char *, const XML_Char *encoding,
                                          int) {
        guard(self, [&](NodeDefParser &parser) {
            if (encoding == nullptr || isUtf8(QLatin1StringView(encoding)))
                return;
            parser.refuse(u"is declared as %1, expected UTF-8"_s.arg(QString::fromUtf8(encoding)),
                          parser.position());
            parser.stop();
        });
    });
    // Entities are for other formats; a few lines of them can grow beyond any memory.
    XML_SetEntityDeclHandler(m_xml.get(), [](void *self, const XML_Char *, int, const XML_Char *,
                                             int, const XML_Char *, const XML_Char *,
                                             const XML_Char *, const XML_Char *) {
        guard(self, [](NodeDefParser &parser) {
            parser.refuse(u"declares entities, which a node library may not"_s, parser.position());
            parser.stop();
        });
    });
}

void NodeDefParser::stop()
{
    XML_StopParser(m_xml.get(), XML_FALSE);
}

bool NodeDefParser::parse()
{
    if (!isReadable())
        return false;
    const XML_Status status = readAll();
    if (m_thrown)
        std::rethrow_exception(m_thrown);
    if (m_isRefused)
        return false;
    return status == XML_STATUS_OK || refuse(reasonOf(XML_GetErrorCode(m_xml.get())), position());
}

// Turns away what the XML parser should not be given.
bool NodeDefParser::isReadable()
{
    if (m_bytes.startsWith("\xFF\xFE") || m_bytes.startsWith("\xFE\xFF")
        || QByteArrayView(m_bytes).first(std::min<qsizetype>(m_bytes.size(), 4)).contains('\0'))
        return refuse(u"is not encoded in UTF-8"_s, shifted(1, 1));
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

XML_Status NodeDefParser::readAll()
{
    static constexpr qsizetype sMost = qsizetype{1} << 30; // the parser counts in ints
    XML_Status status = XML_STATUS_OK;
    qsizetype at = 0;
    do {
        const qsizetype size = std::min(m_bytes.size() - at, sMost);
        const bool isLast = at + size == m_bytes.size();
        status = XML_Parse(m_xml.get(), m_bytes.constData() + at, static_cast<int>(size),
                           isLast ? XML_TRUE : XML_FALSE);
        at += size;
    } while (status == XML_STATUS_OK && at < m_bytes.size());
    return status;
}

void NodeDefParser::beginElement(QLatin1StringView name, AttributeList attributes)
{
    const int depth = m_depth++;
    if (depth == 0) {
        readRoot(name, attributes);
    } else if (depth == 1 && name == "nodedef"_L1) {
        beginNodeDef(attributes);
    } else if (depth == 2 && m_open) {
        if (const auto kind = portKindOf(name))
            readPort(*kind, attributes);
    }
}

void NodeDefParser::endElement()
{
    --m_depth;
    if (m_depth == 1 && m_open)
        endNodeDef();
}

void NodeDefParser::readRoot(QLatin1StringView name, AttributeList attributes)
{
    if (name != "materialx"_L1) {
        refuse(u"the root element is \"%1\", expected \"materialx\""_s.arg(
                       QString::fromUtf8(name.data(), name.size())),
               position());
        stop();
        return;
    }
    for (AttributeList at = attributes; *at != nullptr; at += 2) {
        if (QLatin1StringView(at[0]) == "namespace"_L1)
            m_nameSpace = QString::fromUtf8(at[1]);
    }
}

void NodeDefParser::beginNodeDef(AttributeList attributes)
{
    const Position place = position();
    NodeDef &nodeDef = m_open.emplace();
    m_openNames.clear();
    nodeDef.nameSpace = m_nameSpace;
    nodeDef.filePath = m_filePath;
    nodeDef.relativePath = m_relativePath;
    nodeDef.line = place.line;
    nodeDef.column = place.column;
    for (AttributeList at = attributes; *at != nullptr; at += 2) {
        const QLatin1StringView name(at[0]);
        if (QString NodeDef::*const member = memberFor(name))
            nodeDef.*member = QString::fromUtf8(at[1]);
        else if (name == "isdefaultversion"_L1)
            nodeDef.isDefaultVersion = QLatin1StringView(at[1]) == "true"_L1;
        else if (const auto known = attributeFromText(name))
            nodeDef.attributes.set(*known, QString::fromUtf8(at[1]));
    }
    // An empty namespace of its own says as little as none.
    if (nodeDef.nameSpace.isEmpty())
        nodeDef.nameSpace = m_nameSpace;
}

void NodeDefParser::endNodeDef()
{
    NodeDef nodeDef = std::move(*m_open);
    m_open.reset();
    if (nodeDef.name.isEmpty() || nodeDef.node.isEmpty()) {
        const QString missing = nodeDef.name.isEmpty() ? u"name"_s : u"node"_s;
        report(Problem::Severity::NodeDefRefused, {nodeDef.line, nodeDef.column},
               u"the nodedef \"%1\" has no \"%2\"; it is left out"_s.arg(nodeDef.name, missing));
        return;
    }
    nodeDef.name = qualified(nodeDef.name, nodeDef.nameSpace);
    nodeDef.node = qualified(nodeDef.node, nodeDef.nameSpace);
    m_nodeDefs.push_back(std::move(nodeDef));
}

void NodeDefParser::readPort(NodePort::Kind kind, AttributeList attributes)
{
    NodePort port;
    port.kind = kind;
    for (AttributeList at = attributes; *at != nullptr; at += 2) {
        const QLatin1StringView name(at[0]);
        if (name == "name"_L1)
            port.name = QString::fromUtf8(at[1]);
        else if (name == "type"_L1)
            port.type = QString::fromUtf8(at[1]);
        else if (const auto known = attributeFromText(name))
            port.attributes.set(*known, QString::fromUtf8(at[1]));
    }
    if (port.name.isEmpty())
        return;
    if (!m_openNames.insert(port.name).second) {
        report(Problem::Severity::Remark, position(),
               u"\"%1\" has \"%2\" twice; the second is left out"_s.arg(m_open->name, port.name));
        return;
    }
    (kind == NodePort::Kind::Output ? m_open->outputs : m_open->parameters)
            .push_back(std::move(port));
}

// Whatever was read before is dropped: a file counts whole or not at all.
bool NodeDefParser::refuse(const QString &reason, Position place)
{
    m_isRefused = true;
    m_nodeDefs.clear();
    m_problems.clear();
    report(Problem::Severity::FileRefused, place, reason);
    return false;
}

void NodeDefParser::report(Problem::Severity severity, Position place, const QString &text)
{
    m_problems.push_back({.severity = severity,
                          .file = m_filePath,
                          .line = place.line,
                          .column = place.column,
                          .text = text});
}

// Of what is being read, or could not be.
NodeDefParser::Position NodeDefParser::position() const
{
    return shifted(static_cast<qint64>(XML_GetCurrentLineNumber(m_xml.get())),
                   static_cast<qint64>(XML_GetCurrentColumnNumber(m_xml.get())) + 1);
}

NodeDefParser::Position NodeDefParser::shifted(qint64 line, qint64 column) const
{
    return {line + m_offset.line, line == 1 ? column + m_offset.column : column};
}

} // namespace Tesk::NodeLibrary
