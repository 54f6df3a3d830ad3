#pragma once

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/Problem.h>

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QXmlStreamReader>

#include <optional>
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

    bool isReadable();
    bool readRoot();
    void readNodeDef(Position position);
    void readPorts(NodeDef &nodeDef);
    void readPort(NodePort::Kind kind, Position position, NodeDef &nodeDef, QSet<QString> &names);
    bool readToEnd();
    bool nextElement(Position &position);

    bool refuse(const QString &reason, std::optional<Position> place = {});
    void report(Problem::Severity severity, Position position, const QString &text);
    Position position() const;
    Position shifted(qint64 line, qint64 column) const;

    QByteArray m_bytes; // without what stands in front of the XML declaration
    QXmlStreamReader m_xml;
    QString m_filePath;
    QString m_relativePath;
    QString m_nameSpace;
    Position m_offset; // what was cut off in front of the XML declaration
    std::vector<NodeDef> m_nodeDefs;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
