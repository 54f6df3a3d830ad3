#include "Implementations.h"

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace FilterBaseBenchmarks {

using namespace Tesk;
using FilterBase::ImplementationInfo;
using FilterBase::TweakMap;

namespace {

struct PlainRecord
{
    QByteArray implementation;
    std::map<unsigned int, unsigned int> uids;
};

struct PlainFilter
{
    std::map<QString, PlainRecord> types;
    std::map<QString, PlainRecord> usages;
    std::vector<PlainParameter> parameters;
};

// Every second uid is known, as when variations share half of their parameters.
TweakMap tweaksOf(unsigned int count)
{
    TweakMap tweaks;
    for (unsigned int uid = 0; uid < count; ++uid)
        tweaks.emplace(uid, 0.5);
    return tweaks;
}

// Types as outputs ask for them, and as many usages.
std::vector<QString> lookups()
{
    return {QStringLiteral("color"),  QStringLiteral("float"),  QStringLiteral("float2"),
            QStringLiteral("float3"), QStringLiteral("float4"), QStringLiteral("grayscale"),
            QStringLiteral("none"),   QStringLiteral("string")};
}

} // namespace

static void translateFloor(benchmark::State &state)
{
    const auto count = static_cast<unsigned int>(state.range(0));
    const TweakMap tweaks = tweaksOf(count);
    std::map<unsigned int, unsigned int> uids;
    for (unsigned int uid = 0; uid < count; uid += 2)
        uids.emplace(uid, uid + count);
    for (auto _ : state) {
        TweakMap translated;
        for (const auto &[uid, value] : tweaks) {
            if (const auto entry = uids.find(uid); entry != uids.end())
                translated.insert_or_assign(entry->second, value);
        }
        benchmark::DoNotOptimize(translated);
    }
}

static void translate(benchmark::State &state)
{
    const auto count = static_cast<unsigned int>(state.range(0));
    const TweakMap tweaks = tweaksOf(count);
    ImplementationInfo info;
    for (unsigned int uid = 0; uid < count; uid += 2)
        info.paramUidCorrespondance.insert(uid, uid + count);
    for (auto _ : state)
        benchmark::DoNotOptimize(info.getImplementationTweaks(tweaks));
}
BENCHMARK(translateFloor)->ArgName("tweaks")->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(translate)->ArgName("tweaks")->Arg(16)->Arg(256)->Arg(4096);

static void lookUpFloor(benchmark::State &state)
{
    PlainFilter filter;
    const std::vector<QString> keys = lookups();
    for (const QString &key : keys) {
        if (key != QStringLiteral("none"))
            filter.types[key] = {};
        filter.usages[QStringLiteral("usage_") + key] = {};
    }
    const PlainRecord none;
    const QString usage = QStringLiteral("height");
    std::size_t next = 0;
    for (auto _ : state) {
        const PlainRecord *found = &none;
        const QString &type = keys[next++ % keys.size()];
        if (const auto entry = filter.usages.find(usage); entry != filter.usages.end())
            found = &entry->second;
        else if (const auto byType = filter.types.find(type); byType != filter.types.end())
            found = &byType->second;
        benchmark::DoNotOptimize(found);
    }
}

static void lookUp(benchmark::State &state)
{
    const auto filter = makeFilter();
    const std::vector<QString> keys = lookups();
    const auto record = [] {
        return FilterBase::ImplementationInfoPtr(new ImplementationInfo);
    };
    for (const QString &key : keys) {
        if (key != QStringLiteral("none"))
            filter->types.insert(key, record());
        filter->usages.insert(QStringLiteral("usage_") + key, record());
    }
    const QString usage = QStringLiteral("height");
    std::size_t next = 0;
    for (auto _ : state) {
        const QString &type = keys[next++ % keys.size()];
        benchmark::DoNotOptimize(&filter->getImplementationForUsageAndType(usage, type));
    }
}
BENCHMARK(lookUpFloor);
BENCHMARK(lookUp);

// --- saving and loading: 10 implementations of 30 parameters

namespace {

constexpr int sImplementations = 10;
constexpr int sParameters = 30;

PlainFilter plainFilter()
{
    PlainFilter filter;
    const auto descriptions = overlappingDescriptions(sImplementations, sParameters, 60);
    for (int i = 0; i < sImplementations; ++i) {
        PlainRecord record{"implementation-" + QByteArray::number(i), {}};
        for (const PlainParameter &parameter : descriptions[static_cast<std::size_t>(i)])
            record.uids.emplace(parameter.uid, parameter.uid + 1);
        filter.types.emplace(keyOf(i), std::move(record));
        if (i == 0)
            filter.parameters = descriptions[0];
    }
    return filter;
}

void write(std::string &out, const void *bytes, std::size_t size)
{
    out.append(static_cast<const char *>(bytes), size);
}

void write(std::string &out, std::uint32_t number)
{
    write(out, &number, sizeof number);
}

void write(std::string &out, const QByteArray &bytes)
{
    write(out, static_cast<std::uint32_t>(bytes.size()));
    write(out, bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

/// Takes what write() wrote.
class Reader
{
public:
    explicit Reader(const std::string &bytes)
        : m_next(bytes.data())
    {}

    std::uint32_t number()
    {
        std::uint32_t value = 0;
        std::memcpy(&value, m_next, sizeof value);
        m_next += sizeof value;
        return value;
    }

    QByteArray bytes()
    {
        const auto size = static_cast<qsizetype>(number());
        const QByteArray value(m_next, size);
        m_next += size;
        return value;
    }

private:
    const char *m_next;
};

std::string storedPlain(const PlainFilter &filter)
{
    std::string out;
    for (const auto *map : {&filter.types, &filter.usages}) {
        write(out, static_cast<std::uint32_t>(map->size()));
        for (const auto &[key, record] : *map) {
            write(out, key.toUtf8());
            write(out, record.implementation);
            write(out, static_cast<std::uint32_t>(record.uids.size()));
            for (const auto &[from, to] : record.uids) {
                write(out, from);
                write(out, to);
            }
        }
    }
    write(out, static_cast<std::uint32_t>(filter.parameters.size()));
    for (const PlainParameter &parameter : filter.parameters) {
        write(out, parameter.identifier.toUtf8());
        write(out, parameter.uid);
    }
    return out;
}

PlainFilter readPlain(const std::string &bytes)
{
    Reader reader(bytes);
    PlainFilter filter;
    for (auto *map : {&filter.types, &filter.usages}) {
        for (std::uint32_t i = reader.number(); i > 0; --i) {
            const QString key = QString::fromUtf8(reader.bytes());
            PlainRecord &record = (*map)[key];
            record.implementation = reader.bytes();
            for (std::uint32_t j = reader.number(); j > 0; --j) {
                const std::uint32_t from = reader.number();
                record.uids.emplace(from, reader.number());
            }
        }
    }
    filter.parameters.resize(reader.number());
    for (PlainParameter &parameter : filter.parameters) {
        parameter.identifier = QString::fromUtf8(reader.bytes());
        parameter.uid = reader.number();
    }
    return filter;
}

QByteArray stored(const FilterBase::DynamicFilterAsset &filter)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    serializeToNode(root, static_cast<const Data::SerializableData &>(filter));
    return Data::Serialization::toCbor(document);
}

std::shared_ptr<FilterBase::DynamicFilterAsset> sampleFilter(Database &database)
{
    const PlainFilter plain = plainFilter();
    auto filter = makeFilter();
    for (const auto &[key, record] : plain.types) {
        FilterBase::ImplementationInfoPtr info(new ImplementationInfo);
        info->implementationRef.set(database.implementation(nullptr));
        for (const auto &[from, to] : record.uids)
            info->paramUidCorrespondance.insert(from, to);
        filter->types.insert(key, std::move(info));
    }
    filter->ioDesc.set(describe(plain.parameters));
    return filter;
}

} // namespace

static void saveFloor(benchmark::State &state)
{
    const PlainFilter filter = plainFilter();
    for (auto _ : state)
        benchmark::DoNotOptimize(storedPlain(filter));
}

static void save(benchmark::State &state)
{
    Database database;
    const auto filter = sampleFilter(database);
    for (auto _ : state)
        benchmark::DoNotOptimize(stored(*filter));
    state.counters["bytes"] = static_cast<double>(stored(*filter).size());
}

static void loadFloor(benchmark::State &state)
{
    const std::string bytes = storedPlain(plainFilter());
    for (auto _ : state)
        benchmark::DoNotOptimize(readPlain(bytes));
}

// Deleting the objects, which the event loop does, is part of it, as it is of the floor.
static void load(benchmark::State &state)
{
    Database database;
    const QByteArray bytes = stored(*sampleFilter(database));
    for (auto _ : state) {
        const auto filter = makeFilter();
        const auto document = Data::Serialization::fromCbor(bytes);
        deserializeFromNode(document.root(), static_cast<Data::SerializableData &>(*filter));
        benchmark::DoNotOptimize(filter->types.size());
        filter->types.clear();
        filter->ioDesc.set(nullptr);
        drainDeferredDeletes();
    }
}
BENCHMARK(saveFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(save)->Unit(benchmark::kMicrosecond);
BENCHMARK(loadFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(load)->Unit(benchmark::kMicrosecond);

} // namespace FilterBaseBenchmarks
