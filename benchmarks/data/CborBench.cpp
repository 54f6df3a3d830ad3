#include "../support/Alternating.h"

#include <data/Cbor.h>

#include <benchmark/benchmark.h>

#include <QCborStreamReader>
#include <QCborStreamWriter>
#include <QFloat16>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Tesk;
using namespace Tesk::Data::Serialization;

namespace {

// A dynamic filter as it is stored: a class, two tables of implementation records, each with a
// reference and a table of parameter numbers, and a few plain fields. One record less or more
// makes it smaller or larger; two are about 1 KB.
void fillFilter(Node root, int records)
{
    root.setClassInfo(QStringLiteral("Tesk::FilterBase::DynamicFilterAsset"), 100);
    Node fields = root.addObject("Fields");
    fields.addObject("nextVersion").setValue(QByteArray());
    ArrayNode dependencies = fields.addArray("dependencies", "FieldArray");
    dependencies.append().setValue(QByteArray("nodedef://ND_blur_float"));
    ArrayNode types = fields.addArray("types", "FieldHashMap");
    for (int record = 0; record < records; ++record) {
        Node entry = types.append();
        entry.addObject("first").setValue(QStringLiteral("default_float%1").arg(record));
        Node second = entry.addObject("second");
        second.setClassInfo(QStringLiteral("Tesk::FilterBase::ImplementationInfo"), 100);
        Node recordFields = second.addObject("Fields");
        recordFields.addObject("implementationRef")
                .setValue(QStringLiteral("nodedef://ND_blur_float%1").arg(record).toUtf8());
        ArrayNode uids = recordFields.addArray("paramUidCorrespondance", "FieldHashMap");
        for (unsigned uid = 0; uid < 10; ++uid) {
            Node pair = uids.append();
            pair.addObject("first").setValue(uid * 7919);
            pair.addObject("second").setValue(uid);
        }
    }
    Node empty = fields.addArray("usages", "FieldHashMap").append();
    empty.addObject("first").setValue("default");
    empty.addObject("second").setAttribute("nullptr", true);
    Node description = fields.addObject("ioDesc");
    description.setClassInfo(QStringLiteral("Tesk::RenderableBase::RenderableIODesc"), 100);
    description.addObject("identifier").setValue("out");
    description.addObject("minimum").setValue(0.0);
    description.addObject("maximum").setValue(1.1);
}

// --- the same with Qt's classes

std::string_view qtString(QCborStreamReader &reader, std::string &buffer)
{
    buffer.clear();
    while (true) {
        const qsizetype size = reader.currentStringChunkSize();
        const std::size_t used = buffer.size();
        buffer.resize(used + static_cast<std::size_t>(std::max<qsizetype>(size, 0)));
        const auto chunk = reader.readStringChunk(buffer.data() + used, size);
        if (chunk.status == QCborStreamReader::EndOfString)
            return std::string_view(buffer).substr(0, used);
        if (chunk.status == QCborStreamReader::Error)
            std::abort();
    }
}

void qtReadNode(QCborStreamReader &reader, Node node, std::string &buffer);

void qtReadMap(QCborStreamReader &reader, Node node, std::string &buffer)
{
    std::string key;
    reader.enterContainer();
    while (reader.hasNext()) {
        qtString(reader, key);
        if (key == "@class") {
            reader.enterContainer();
            const std::string_view name = qtString(reader, buffer);
            const QString className = QString::fromUtf8(name.data(), qsizetype(name.size()));
            node.setClassInfo(className, static_cast<int>(reader.toInteger()));
            reader.next();
            reader.leaveContainer();
        } else if (key.front() == '@') {
            node.setAttribute(std::string_view(key).substr(1), reader.toBool());
            reader.next();
        } else if (reader.isArray()) {
            reader.enterContainer();
            const std::string_view itemName = qtString(reader, buffer);
            ArrayNode array = node.addArray(std::string_view(key), itemName);
            while (reader.hasNext())
                qtReadNode(reader, array.append(), buffer);
            reader.leaveContainer();
        } else {
            qtReadNode(reader, node.addObject(std::string_view(key)), buffer);
        }
    }
    reader.leaveContainer();
}

void qtReadNode(QCborStreamReader &reader, Node node, std::string &buffer)
{
    switch (reader.type()) {
    case QCborStreamReader::Map:
        qtReadMap(reader, node, buffer);
        return;
    case QCborStreamReader::String:
        node.setValue(qtString(reader, buffer));
        return;
    case QCborStreamReader::ByteArray: {
        const std::string_view bytes = qtString(reader, buffer);
        node.setValue(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
        return;
    }
    case QCborStreamReader::UnsignedInteger:
        node.setValue(reader.toUnsignedInteger());
        break;
    case QCborStreamReader::Float16:
        node.setValue(static_cast<double>(float(reader.toFloat16())));
        break;
    case QCborStreamReader::Double:
        node.setValue(reader.toDouble());
        break;
    default:
        std::abort();
    }
    reader.next();
}

Document qtDecode(const QByteArray &bytes)
{
    Document document;
    QCborStreamReader reader(bytes);
    std::string buffer;
    qtReadNode(reader, document.root(), buffer);
    return document;
}

// Qt's reader without a tree: what any decoder built on it pays at least.
int qtWalk(QCborStreamReader &reader, std::string &buffer)
{
    int items = 0;
    while (reader.hasNext()) {
        ++items;
        if (reader.isContainer()) {
            reader.enterContainer();
            items += qtWalk(reader, buffer);
            reader.leaveContainer();
        } else if (reader.isString() || reader.isByteArray()) {
            qtString(reader, buffer);
        } else {
            reader.next();
        }
    }
    return items;
}

void qtText(QCborStreamWriter &writer, std::string_view text)
{
    writer.appendTextString(text.data(), qsizetype(text.size()));
}

void qtWriteNode(QCborStreamWriter &writer, const Node &node);

void qtWriteMap(QCborStreamWriter &writer, const Node &node)
{
    writer.startMap(static_cast<quint64>(node.children().size()) + (node.hasClassInfo() ? 1 : 0));
    if (node.hasClassInfo()) {
        qtText(writer, "@class");
        writer.startArray(2);
        writer.append(node.className());
        writer.append(node.classVersion());
        writer.endArray();
    }
    for (const NodeChild &child : node.children()) {
        if (child.kind == ChildKind::Attribute) {
            qtText(writer, '@' + std::string(child.name));
            writer.append(child.node.toBool());
            continue;
        }
        qtText(writer, child.name);
        if (child.kind == ChildKind::Object) {
            qtWriteNode(writer, child.node);
            continue;
        }
        writer.startArray(static_cast<quint64>(child.array.size()) + 1);
        qtText(writer, child.array.itemName());
        for (const Node &item : child.array)
            qtWriteNode(writer, item);
        writer.endArray();
    }
    writer.endMap();
}

void qtWriteNode(QCborStreamWriter &writer, const Node &node)
{
    switch (node.valueKind()) {
    case ValueKind::None:
        qtWriteMap(writer, node);
        break;
    case ValueKind::Unsigned:
        writer.append(node.toUInt());
        break;
    case ValueKind::Signed:
        writer.append(node.toInt());
        break;
    case ValueKind::Bool:
        writer.append(node.toBool());
        break;
    case ValueKind::Double: {
        const double value = node.toDouble();
        const qfloat16 half(static_cast<float>(value));
        if (static_cast<double>(float(half)) - value == 0.0)
            writer.append(half);
        else
            writer.append(value);
        break;
    }
    case ValueKind::Text:
        qtText(writer, node.textView());
        break;
    case ValueKind::Bytes:
        writer.appendByteString(node.bytesView().data(), node.bytesView().size());
        break;
    }
}

QByteArray qtEncode(const Document &document)
{
    QByteArray bytes;
    QCborStreamWriter writer(&bytes);
    qtWriteNode(writer, document.root());
    return bytes;
}

// --- measuring

double nanosecondsOf(int repetitions, const std::function<void()> &work)
{
    const double seconds = Benchmarks::secondsOf([&] {
        for (int i = 0; i < repetitions; ++i)
            work();
    });
    return seconds / repetitions * 1e9;
}

// Takes turns, so that both sides meet the same machine; "ratio" is Qt's median over ours.
void besideQt(benchmark::State &state, const std::function<void()> &ours,
              const std::function<void()> &qts)
{
    constexpr int turn = 20;
    std::vector<double> ourTimes;
    std::vector<double> qtTimes;
    for (auto _ : state) {
        ourTimes.push_back(nanosecondsOf(turn, ours));
        qtTimes.push_back(nanosecondsOf(turn, qts));
    }
    const double ourTime = Benchmarks::median(std::move(ourTimes));
    const double qtTime = Benchmarks::median(std::move(qtTimes));
    state.counters["ours_ns"] = ourTime;
    state.counters["qt_ns"] = qtTime;
    state.counters["ratio"] = qtTime / ourTime;
}

struct Filter
{
    explicit Filter(const benchmark::State &state)
    {
        fillFilter(document.root(), static_cast<int>(state.range(0)));
        bytes = toCbor(document);
        if (qtEncode(document) != bytes || toCbor(qtDecode(bytes)) != bytes) {
            std::fputs("The two sides do not do the same work.\n", stderr);
            std::abort();
        }
    }

    Document document;
    QByteArray bytes;
};

void decode(benchmark::State &state)
{
    const Filter filter(state);
    besideQt(
            state, [&] { benchmark::DoNotOptimize(fromCbor(filter.bytes)); },
            [&] { benchmark::DoNotOptimize(qtDecode(filter.bytes)); });
    state.counters["bytes"] = static_cast<double>(filter.bytes.size());
}

void decodeBesideAWalkWithoutATree(benchmark::State &state)
{
    const Filter filter(state);
    std::string buffer;
    besideQt(
            state, [&] { benchmark::DoNotOptimize(fromCbor(filter.bytes)); },
            [&] {
                QCborStreamReader reader(filter.bytes);
                benchmark::DoNotOptimize(qtWalk(reader, buffer));
            });
    state.counters["bytes"] = static_cast<double>(filter.bytes.size());
}

void encode(benchmark::State &state)
{
    const Filter filter(state);
    besideQt(
            state, [&] { benchmark::DoNotOptimize(toCbor(filter.document)); },
            [&] { benchmark::DoNotOptimize(qtEncode(filter.document)); });
    state.counters["bytes"] = static_cast<double>(filter.bytes.size());
}

} // namespace

BENCHMARK(decode)->ArgName("records")->Arg(0)->Arg(2)->Arg(100);
BENCHMARK(decodeBesideAWalkWithoutATree)->ArgName("records")->Arg(0)->Arg(2)->Arg(100);
BENCHMARK(encode)->ArgName("records")->Arg(0)->Arg(2)->Arg(100);
