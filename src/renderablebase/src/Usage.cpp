#include <renderablebase/Usage.h>

#include <data/Serialization.h>

#include <utility>

namespace Tesk::RenderableBase {

Usage::Usage(QString first, QString second)
    : m_first(std::move(first))
    , m_second(std::move(second))
{}

} // namespace Tesk::RenderableBase

namespace Tesk::Data::Serialization {

void serializeToNode(Node &node, const RenderableBase::Usage &usage)
{
    Node first = node.addObject("first");
    serializeToNode(first, usage.first());
    Node second = node.addObject("second");
    serializeToNode(second, usage.second());
}

void deserializeFromNode(const Node &node, RenderableBase::Usage &usage)
{
    QString first;
    QString second;
    deserializeObjectFromSubnode(node, "first", first, true);
    deserializeObjectFromSubnode(node, "second", second, true);
    usage = RenderableBase::Usage(first, second);
}

} // namespace Tesk::Data::Serialization
