#include "../support/Alternating.h"

#include <nodelibrary/LibraryFiles.h>
#include <nodelibrary/LibraryImporter.h>
#include <nodelibrary/NodeDefAsset.h>
#include <nodelibrary/NodeLibraryReader.h>

#include <assets/AssetDatabaseService.h>
#include <assets/SqliteStore.h>
#include <filterbase/FilterManager.h>
#include <filterbase/SerializationRegistration.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <benchmark/benchmark.h>
#include <expat.h>

#include <memory>
#include <vector>

// The libraries that FILTERBASE_TEST_DATA names, else the samples: what people import. The floor is
// reading the same files as XML and doing nothing with them: by the XML reader that everybody with
// Qt has at hand, and by the parser that the importer uses.

namespace Tesk::NodeLibrary {

using Assets::AssetDatabaseService;
using Benchmarks::median;
using Benchmarks::secondsOf;

static QString libraries()
{
    const QString real = qEnvironmentVariable("FILTERBASE_TEST_DATA");
    return real.isEmpty() ? QStringLiteral(SAMPLES_FOLDER) : real + QStringLiteral("/libraries");
}

namespace {

/// A catalogue in a file, open as a host has it.
class Catalogue
{
public:
    Catalogue()
        : m_database(AssetDatabaseService::open(std::make_unique<Assets::SqliteStore>(
                m_folder.filePath(QStringLiteral("catalogue.db")))))
    {
        VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(),
                                                             m_database);
        m_manager = std::make_unique<FilterBase::FilterManager>();
    }

    ~Catalogue()
    {
        m_manager.reset();
        VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
        m_database->close();
        m_database.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::sendPostedEvents(); // only this shortens the queue of what was delivered
    }

    Q_DISABLE_COPY_MOVE(Catalogue)

    void import()
    {
        benchmark::DoNotOptimize(
                LibraryImporter(*m_database, *m_manager).import({libraries()}, {}));
    }

private:
    QTemporaryDir m_folder;
    std::shared_ptr<AssetDatabaseService> m_database;
    std::unique_ptr<FilterBase::FilterManager> m_manager;
};

} // namespace

/// Hands the bytes of each file to \a read; false where a file cannot be read, or \a read says so.
template<class Read>
static bool forEachFile(Read read)
{
    for (const LibraryFiles::File &each : LibraryFiles::below(libraries()).files) {
        QFile file(each.filePath);
        if (!file.open(QIODevice::ReadOnly) || !read(file.readAll()))
            return false;
    }
    return true;
}

static bool readXml()
{
    return forEachFile([](const QByteArray &bytes) {
        QXmlStreamReader xml(bytes);
        xml.setNamespaceProcessing(false);
        while (!xml.atEnd())
            xml.readNext();
        return !xml.hasError();
    });
}

static bool parseXml()
{
    return forEachFile([](const QByteArray &bytes) {
        const XML_Parser parser = XML_ParserCreate("UTF-8");
        XML_SetElementHandler(
                parser, [](void *, const XML_Char *, const XML_Char **) {},
                [](void *, const XML_Char *) {});
        const XML_Status status =
                XML_Parse(parser, bytes.constData(), static_cast<int>(bytes.size()), XML_TRUE);
        XML_ParserFree(parser);
        return status == XML_STATUS_OK;
    });
}

static constexpr const char *sUnreadable = "a file cannot be read";

static void readXmlAlone(benchmark::State &state)
{
    for (auto _ : state) {
        if (!readXml())
            state.SkipWithError(sUnreadable);
    }
}
BENCHMARK(readXmlAlone)->Unit(benchmark::kMillisecond);

static void parseXmlAlone(benchmark::State &state)
{
    for (auto _ : state) {
        if (!parseXml())
            state.SkipWithError(sUnreadable);
    }
}
BENCHMARK(parseXmlAlone)->Unit(benchmark::kMillisecond);

static void readNodeDefs(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(NodeLibraryReader::readPath(libraries()));
}
BENCHMARK(readNodeDefs)->Unit(benchmark::kMillisecond);

static void importIntoANewCatalogue(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto catalogue = std::make_unique<Catalogue>();
        state.ResumeTiming();
        catalogue->import();
        state.PauseTiming();
        catalogue.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(importIntoANewCatalogue)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The import and both floors in turns, as the machine's speed changes from second to second:
/// medians, and "ratio" that of the import over reading the XML alone.
static void importBesideReading(benchmark::State &state)
{
    constexpr int rounds = 40;
    constexpr double milliseconds = 1e3;
    std::vector<double> imports;
    std::vector<double> readings;
    std::vector<double> parsings;
    bool isReadable = true;
    for (auto _ : state) {
        for (int round = 0; round < rounds; ++round) {
            Catalogue catalogue;
            imports.push_back(secondsOf([&] { catalogue.import(); }));
            readings.push_back(secondsOf([&] { isReadable &= readXml(); }));
            parsings.push_back(secondsOf([&] { isReadable &= parseXml(); }));
        }
    }
    if (!isReadable)
        state.SkipWithError(sUnreadable);
    state.counters["import_ms"] = median(imports) * milliseconds;
    state.counters["xml_ms"] = median(readings) * milliseconds;
    state.counters["expat_ms"] = median(parsings) * milliseconds;
    state.counters["ratio"] = median(imports) / median(readings);
}
BENCHMARK(importBesideReading)->Iterations(1)->Unit(benchmark::kMillisecond);

static void importAgain(benchmark::State &state)
{
    Catalogue catalogue;
    catalogue.import();
    for (auto _ : state)
        catalogue.import();
}
BENCHMARK(importAgain)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace Tesk::NodeLibrary

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    Tesk::FilterBase::Serialization::prepareSerialization();
    Tesk::NodeLibrary::NodeDefAsset::registerClass();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
