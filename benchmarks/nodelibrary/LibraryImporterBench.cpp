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

// The libraries that FILTERBASE_TEST_DATA names, else the samples: what people import. The floor is
// reading the same files as XML and doing nothing with them: by the XML reader that everybody with
// Qt has at hand, and by the parser that the importer uses.

namespace Tesk::NodeLibrary {

using Assets::AssetDatabaseService;

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

static void readXmlAlone(benchmark::State &state)
{
    for (auto _ : state) {
        for (const LibraryFiles::File &each : LibraryFiles::below(libraries()).files) {
            QFile file(each.filePath);
            if (!file.open(QIODevice::ReadOnly))
                state.SkipWithError("a file cannot be read");
            QXmlStreamReader xml(file.readAll());
            xml.setNamespaceProcessing(false);
            while (!xml.atEnd())
                xml.readNext();
        }
    }
}
BENCHMARK(readXmlAlone)->Unit(benchmark::kMillisecond);

static void parseXmlAlone(benchmark::State &state)
{
    for (auto _ : state) {
        for (const LibraryFiles::File &each : LibraryFiles::below(libraries()).files) {
            QFile file(each.filePath);
            if (!file.open(QIODevice::ReadOnly))
                state.SkipWithError("a file cannot be read");
            const QByteArray bytes = file.readAll();
            const XML_Parser parser = XML_ParserCreate("UTF-8");
            XML_SetElementHandler(
                    parser, [](void *, const XML_Char *, const XML_Char **) {},
                    [](void *, const XML_Char *) {});
            if (XML_Parse(parser, bytes.constData(), static_cast<int>(bytes.size()), XML_TRUE)
                != XML_STATUS_OK)
                state.SkipWithError("a file is not well-formed");
            XML_ParserFree(parser);
        }
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
