#pragma once

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/Problem.h>

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>

#include <expat.h>

#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace Tesk::NodeLibrary {

/// Reads the nodedefs of one file.
///
/// The format knows no XML namespaces: prefixes are part of a name and need no declaration.
class NodeDefParser
{
public:
    NodeDefParser(const QByteArray &bytes, const QString &filePath, const QString &relativePath);

    /// Reads the whole file; false when it is refused, which problems() then explains.
    bool parse();

    std::vector<NodeDef> &nodeDefs() { return m_nodeDefs; }
    Problems &problems() { return m_problems; }

private:
    struct Position
    {
        qint64 line = 0;
        qint64 column = 0;
    };
    struct Free
    {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    // Pairs of a name and a value, with a null behind the last.
    using AttributeList = const XML_Char **;

    template<class Work>
    static void guard(void *self, const Work &work);
    void listen();
    bool isReadable();
    XML_Status readAll();
    void stop();

    void beginElement(QLatin1StringView name, AttributeList attributes);
    void endElement();
    void readRoot(QLatin1StringView name, AttributeList attributes);
    void beginNodeDef(AttributeList attributes);
    void endNodeDef();
    void readPort(NodePort::Kind kind, AttributeList attributes);

    bool refuse(const QString &reason, Position place);
    void report(Problem::Severity severity, Position place, const QString &text);
    Position position() const;
    Position shifted(qint64 line, qint64 column) const;

    QByteArray m_bytes; // without what stands in front of the XML declaration
    std::unique_ptr<XML_ParserStruct, Free> m_xml;
    std::exception_ptr m_thrown; // by a handler: nothing may fly through the XML parser
    bool m_isRefused = false;
    QString m_filePath;
    QString m_relativePath;
    QString m_nameSpace;
    Position m_offset; // what was cut off in front of the XML declaration
    int m_depth = 0;   // of elements that are open
    std::optional<NodeDef> m_open;
    std::set<QString> m_openNames; // of its ports
    std::vector<NodeDef> m_nodeDefs;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
