#pragma once

#include <nodelibrary/Inheritance.h>
#include <nodelibrary/NodeDef.h>
#include <nodelibrary/NodeLibraryReader.h>

#include <support/Printers.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

namespace Tesk::NodeLibrary {

/// Reads \a body as the inside of a file called "test.mtlx".
inline NodeLibrary readBody(const QByteArray &body)
{
    return NodeLibraryReader::readBytes("<materialx version=\"1.39\">" + body + "</materialx>",
                                        QStringLiteral("test.mtlx"));
}

/// The same with what the bases contribute.
inline std::vector<NodeDef> completedBody(const QByteArray &body)
{
    NodeLibrary library = readBody(body);
    std::vector<NodeDef *> nodeDefs;
    for (NodeDef &nodeDef : library.nodeDefs)
        nodeDefs.push_back(&nodeDef);
    Inheritance::complete(nodeDefs);
    return std::move(library.nodeDefs);
}

/// A nodedef of one output, with \a more attributes in its tag.
inline QByteArray overload(const QByteArray &name, const QByteArray &node, const QByteArray &type,
                           const QByteArray &more = {})
{
    return "<nodedef name=\"" + name + "\" node=\"" + node + "\" " + more
           + "><input name=\"in\" type=\"" + type + "\"/><output name=\"out\" type=\"" + type
           + "\"/></nodedef>";
}

inline std::vector<const NodeDef *> pointersTo(const std::vector<NodeDef> &nodeDefs)
{
    std::vector<const NodeDef *> pointers;
    for (const NodeDef &nodeDef : nodeDefs)
        pointers.push_back(&nodeDef);
    return pointers;
}

inline QString namesOf(const std::vector<NodePort> &ports)
{
    QStringList names;
    for (const NodePort &port : ports)
        names.append(port.name);
    return names.join(u',');
}

} // namespace Tesk::NodeLibrary
