#include <data/Cbor.h>

#include <vantbase/Exception.h>
#include <vantbase/Logger.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>

// What the codec accepts must give the same bytes again, and whatever a reader does with the
// tree must end in a value or in a SerializationException.

using namespace Tesk::Data::Serialization;
using Tesk::Exception::Data::SerializationException;

namespace {

void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

bool raises(const std::function<void()> &read)
{
    try {
        read();
    } catch (const SerializationException &) {
        return true;
    }
    return false;
}

/// Exactly the reader of its kind works.
void readValue(const Node &node)
{
    const ValueKind kind = node.valueKind();
    require(raises([&] { (void)node.toBool(); }) != (kind == ValueKind::Bool), "toBool");
    require(raises([&] { (void)node.toUInt(); }) != (kind == ValueKind::Unsigned), "toUInt");
    require(raises([&] { (void)node.toDouble(); }) != (kind == ValueKind::Double), "toDouble");
    require(raises([&] { (void)node.toText(); }) != (kind == ValueKind::Text), "toText");
    require(raises([&] { (void)node.toBytes(); }) != (kind == ValueKind::Bytes), "toBytes");
    const bool isInteger =
            kind == ValueKind::Signed || (kind == ValueKind::Unsigned && node.toUInt() >> 63 == 0);
    require(raises([&] { (void)node.toInt(); }) != isInteger, "toInt");
    if (kind == ValueKind::Text) {
        const std::string_view text = node.textView();
        require(node.toText().toUtf8().toStdString() == text, "text is UTF-8");
    }
}

void walk(const Node &node, int depth);

void walkArray(const Node &parent, const NodeChild &child, int depth)
{
    require(parent.findArray(child.name, child.array.itemName()) == child.array, "findArray");
    require(parent.findArray(child.name, "no such item").isNull()
                    || child.array.itemName() == "no such item",
            "findArray with another item name");
    require(parent.findObject(child.name).isNull(), "an array is no object");
    qsizetype items = 0;
    for (const Node &item : child.array) {
        require(item.name().empty(), "items have no name");
        walk(item, depth + 1);
        ++items;
    }
    require(items == child.array.size(), "size of an array");
}

void walkAttribute(const Node &parent, const NodeChild &child)
{
    require(parent.hasAttribute(child.name), "hasAttribute");
    require(parent.findObject(child.name).isNull(), "an attribute is no object");
    const ValueKind kind = child.node.valueKind();
    require(raises([&] { (void)parent.attribute(child.name, false); }) != (kind == ValueKind::Bool),
            "attribute that is a truth value");
    require(raises([&] { (void)parent.attribute(child.name, QString()); })
                    != (kind == ValueKind::Text),
            "attribute that is text");
}

void walk(const Node &node, int depth)
{
    // Raising and logging is what costs; large inputs must not make it the only thing tested.
    if (depth < 4)
        readValue(node);
    if (node.hasClassInfo()) {
        require(!node.className().isEmpty() && node.classVersion() >= 0, "class information");
        (void)raises([&] { node.checkClassInfo(QStringLiteral("Tesk::Class")); });
    }
    qsizetype children = 0;
    for (const NodeChild &child : node.children()) {
        ++children;
        if (child.kind == ChildKind::Array) {
            walkArray(node, child, depth);
        } else if (child.kind == ChildKind::Attribute) {
            walkAttribute(node, child);
        } else {
            // A linear search: the first of this name, and so the only one.
            require(node.findObject(child.name) == child.node, "findObject");
            walk(child.node, depth + 1);
        }
    }
    require(children == node.children().size(), "number of children");
}

/// Small changes wherever they are possible; the result must still be written and read.
void change(Document &document, const QByteArray &bytes)
{
    Node root = document.root();
    Document copy;
    copy.root().copyFrom(root);
    require(toCbor(copy) == bytes, "a copy gives the same bytes");
    if (root.valueKind() != ValueKind::None)
        return;

    for (const NodeChild &child : copy.root().children())
        require(raises([&] { root.addObject(child.name); }), "a taken name is refused");
    bool removesNext = true;
    for (const NodeChild &child : copy.root().children()) {
        const bool isAttribute = child.kind == ChildKind::Attribute;
        if (removesNext) {
            require(isAttribute ? root.removeAttribute(child.name) : root.removeChild(child.name),
                    "what is there can be removed");
        }
        removesNext = !removesNext;
    }
    root.addObject("added by the fuzzer").copyFrom(copy.root());
    QByteArray changed;
    if (!raises([&] { changed = toCbor(document); })) // it may have become too deep
        require(toCbor(fromCbor(changed)) == changed, "changed bytes are read faithfully");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Tesk::VantBase::setLogSink([](const Tesk::VantBase::LogMessage &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        Document document = fromCbor(bytes);
        require(toCbor(document) == bytes, "accepted bytes are given again");
        walk(document.root(), 0);
        (void)raises([&] { change(document, bytes); });
    } catch (const SerializationException &) {
    }
    return 0;
}
