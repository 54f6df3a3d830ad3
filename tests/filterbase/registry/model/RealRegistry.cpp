#include "RealRegistry.h"

#include "../FaultyFilter.h"
#include "RefusingStore.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/SerializationRegistration.h>
#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/SqliteStore.h>
#include <assets/StoreError.h>
#include <support/DeferredDeletes.h>
#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/Exception.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>

#include <algorithm>
#include <exception>
#include <thread>
#include <typeinfo>
#include <utility>

namespace FilterBaseTesting {

using namespace Tesk;
using Assets::AssetDatabaseService;
using Assets::AssetReference;
using Assets::AssetControl::getName;
using Assets::AssetControl::setName;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;
using FilterBase::FilterManager;
using VantBase::DefaultAsyncRecovery;
using VantBase::ServiceLocator;

static const QByteArray sCollectionId = "collection://lorimetFilters";

static std::string shown(const AssetReference &reference)
{
    return reference.isInvalid() ? "null" : '[' + reference.id().toStdString() + ']';
}

RealRegistry::RealRegistry(Storage storage)
{
    FilterBase::Serialization::prepareSerialization();
    registerFakeAssets();
    FaultyFilter::registerClass();
    BareFilter::registerClass();
    ServiceLocator::instance().registerService(DefaultAsyncRecovery::typeId(),
                                               std::make_shared<DefaultAsyncRecovery>());
    ServiceLocator::instance().setStarted(true);
    if (storage == Storage::File)
        m_folder.emplace();
    open();
}

RealRegistry::~RealRegistry()
{
    close();
    ServiceLocator::instance().setStarted(false);
    ServiceLocator::instance().unregisterService(DefaultAsyncRecovery::typeId());
}

void RealRegistry::open()
{
    std::unique_ptr<Assets::Store> store;
    if (m_folder)
        store = std::make_unique<Assets::SqliteStore>(m_folder->filePath("assets.db"));
    else
        store = m_memory.openAnother();
    m_database = AssetDatabaseService::open(
            std::make_unique<RefusingStore>(std::move(store), m_refusal));
    ServiceLocator::instance().registerService(AssetDatabaseService::typeId(), m_database);
}

void RealRegistry::close()
{
    m_managers = {};
    ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    m_database->close();
    m_scope.reset(); // if one is open, closing has rolled it back
    m_inScope.clear();
    m_database.reset();
    TestSupport::drainDeferredDeletes();
}

Outcome RealRegistry::run(const Step &step)
{
    m_log.clear();
    m_hides.take();
    if (step.fault) {
        const AssetReference faulty = reference(step.fault->id);
        FaultyFilter::sBeforeAnswer = [fault = *step.fault, faulty](const FaultyFilter &asked,
                                                                    Operation operation) mutable {
            if (fault.operation == operation && asked.ownReference() == faulty && --fault.call == 0)
                throw InjectedFault(faulty.id().toStdString() + " does not answer");
        };
    }
    *m_refusal = step.refusal;
    Outcome outcome;
    try {
        for (const AssetReference &result : step.onWorker ? applyOnWorker(step) : apply(step))
            outcome.results.push_back(shown(result));
    } catch (const Exception::InvalidArgumentException &error) {
        outcome.exception = std::string("InvalidArgumentException: ") + error.what();
    } catch (const Exception::RuntimeErrorException &error) {
        outcome.exception = std::string("RuntimeErrorException: ") + error.what();
    } catch (const Assets::StoreError &error) {
        outcome.exception = std::string("StoreError: ") + error.what();
    } catch (const InjectedFault &error) {
        outcome.exception = std::string("InjectedFault: ") + error.what();
    } catch (const std::exception &error) {
        outcome.exception = std::string(typeid(error).name()) + ": " + error.what();
    }
    FaultyFilter::sBeforeAnswer = nullptr;
    if (step.onWorker)
        QCoreApplication::processEvents();
    m_refusal->reset();
    outcome.records = records();
    for (const HideRecorder::Hide &hide : m_hides.take()) {
        const bool isOnMainThread = hide.thread == std::this_thread::get_id();
        outcome.hides.push_back(shown(hide.reference)
                                + (isOnMainThread ? " on the main thread" : " on a worker"));
    }
    return outcome;
}

std::vector<AssetReference> RealRegistry::applyOnWorker(const Step &step)
{
    std::vector<AssetReference> results;
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            results = apply(step);
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    if (thrown)
        std::rethrow_exception(thrown);
    return results;
}

std::vector<AssetReference> RealRegistry::apply(const Step &step)
{
    using Kind = Step::Kind;
    const AssetReference subject = reference(step.id);
    const bool fillsTables = step.kind == Kind::Import || step.kind == Kind::Register
                             || step.kind == Kind::Declare || step.kind == Kind::NewManager;
    if (m_scope && fillsTables)
        m_inScope.insert(step.manager);
    switch (step.kind) {
    case Kind::AddFilter:
    case Kind::AddImplementation:
    case Kind::AddBare:
    case Kind::AddPlain:
    case Kind::AddDescriptor:
        add(step);
        break;
    case Kind::Remove:
        subject.asset()->nextVersion.get(); // what was never read cannot be read any more
        m_database->removeAsset(subject);
        break;
    case Kind::Link:
        subject.asset()->nextVersion.set(reference(step.other));
        break;
    case Kind::Rename:
        setName(subject.asset(), step.name);
        break;
    case Kind::RecordName: {
        const auto live = subject.asset(); // what comes to life later would bear the recorded name
        m_database->setNameOfRef(subject, step.name);
        break;
    }
    case Kind::SetItem:
        Assets::MetaDataControl::setMetaDataValue(subject, step.key, step.text);
        break;
    case Kind::Show:
        Assets::CollectionControl::showAsset(subject);
        break;
    case Kind::Import:
        return manager(step.manager).createOrUpdateFilters(references(step.ids), step.name);
    case Kind::Register:
        return {manager(step.manager).registerFilterDescImpl(step.name, subject)};
    case Kind::Declare:
        manager(step.manager)
                .declareFilterDesc(std::dynamic_pointer_cast<FilterDescAsset>(subject.asset()));
        break;
    case Kind::MakeDesc:
        return {manager(step.manager).getOrCreateFilterDesc(step.name)};
    case Kind::FindDynamic:
        return {manager(step.manager).getDynamicFilterFromStaticFilter(subject)};
    case Kind::Collect:
        manager(step.manager).registerFilter(subject);
        break;
    case Kind::Uncollect:
        manager(step.manager).unregisterFilter(subject);
        break;
    case Kind::NewManager:
        renewManager(step.manager);
        break;
    case Kind::Restart:
        restart(step);
        break;
    case Kind::BeginScope:
        m_scope = std::make_unique<AssetDatabaseService::BatchScope>(*m_database);
        break;
    case Kind::SpoilScope: {
        const AssetDatabaseService::BatchScope left(*m_database);
        break;
    }
    case Kind::CommitScope:
        commitScope();
        break;
    case Kind::LeaveScope:
        leaveScope();
        break;
    }
    return {};
}

void RealRegistry::add(const Step &step)
{
    if (step.kind == Step::Kind::AddPlain) {
        m_database->insertAsset(PlainAsset::make(), step.id, step.name);
        return;
    }
    if (step.kind == Step::Kind::AddBare) {
        m_database->insertAsset(BareFilter::make(), step.id, step.name);
        return;
    }
    if (step.kind == Step::Kind::AddDescriptor) {
        const auto made =
                m_database
                        ->getOrCreateReferenceForInternalAsset(step.id, FilterDescAsset::sTypeName)
                        .asset();
        setName(made, step.name);
        for (const AssetReference &entry : references(step.ids))
            std::dynamic_pointer_cast<FilterDescAsset>(made)->implementations.append(entry);
        return;
    }
    if (step.isInternal) {
        const auto made =
                m_database->createInternalAsset(step.id, FaultyFilter::sTypeName, step.name);
        std::dynamic_pointer_cast<FaultyFilter>(made)->variation.set(step.text);
    } else {
        const auto made = FaultyFilter::make();
        made->variation.set(step.text);
        m_database->insertAsset(made, step.id, step.name);
    }
    const AssetReference added = reference(step.id);
    if (step.kind == Step::Kind::AddImplementation) {
        using Assets::MetaDataControl::setMetaDataValue;
        setMetaDataValue(added, FilterBase::filterTypeUserDataKey,
                         FilterBase::dynamicFilterTypeUserData);
        if (!step.key.isEmpty())
            setMetaDataValue(added, step.key, step.text);
    }
    if (const auto older = reference(step.other).asset())
        older->nextVersion.set(added);
}

void RealRegistry::restart(const Step &step)
{
    for (const AssetReference &removed : references(step.ids))
        m_database->removeAsset(removed);
    close();
    open();
    m_managers[0] = std::make_unique<FilterManager>();
}

void RealRegistry::commitScope()
{
    try {
        m_scope->commit();
    } catch (...) {
        leaveScope();
        throw;
    }
    m_scope.reset();
    m_inScope.clear();
}

void RealRegistry::leaveScope()
{
    m_scope.reset();
    for (const int which : std::exchange(m_inScope, {}))
        renewManager(which);
}

void RealRegistry::renewManager(int which)
{
    auto &place = m_managers.at(static_cast<std::size_t>(which));
    place.reset();
    place = std::make_unique<FilterManager>();
}

AssetReference RealRegistry::reference(const QByteArray &id) const
{
    const auto given = m_actualIds.find(id.toStdString());
    return m_database->referenceFromId(
            given == m_actualIds.end() ? id : QByteArray::fromStdString(given->second));
}

std::vector<AssetReference> RealRegistry::references(const std::vector<QByteArray> &ids) const
{
    std::vector<AssetReference> references;
    for (const QByteArray &id : ids)
        references.push_back(reference(id));
    return references;
}

FilterManager &RealRegistry::manager(int which) const
{
    return *m_managers.at(static_cast<std::size_t>(which));
}

// --- what can be seen

// The function alone: "FilterManager::registerFilterDescImpl".
static std::string functionOf(const std::string &place)
{
    static const std::string sNamespace = "Tesk::FilterBase::";
    const auto start = place.find(sNamespace);
    if (start == std::string::npos)
        return place;
    const std::string name = place.substr(start + sNamespace.size());
    const auto member = name.find("::") + 2;
    return name.substr(0, name.find_first_of("(:<", member));
}

// Without those of the host, and of a filter that is described while its body is read.
std::vector<std::string> RealRegistry::records() const
{
    std::vector<std::string> records;
    for (const VantBase::LogMessage &message : m_log.messages()) {
        if (message.service != VantBase::LogService::Filter
            && message.service != VantBase::LogService::Declaration)
            continue;
        const std::string function = functionOf(message.place);
        if (function == "DynamicFilterAsset::generateIODesc" && !message.text.ends_with("}]"))
            continue;
        records.push_back(std::to_string(static_cast<int>(message.service)) + '/'
                          + std::to_string(static_cast<int>(message.level)) + ' ' + function + ": "
                          + message.text);
    }
    return records;
}

std::string RealRegistry::lookUp(int which, const QString &name) const
{
    const FilterManager &asked = manager(which);
    std::string line = name.toStdString() + ": " + shown(asked.getDynamicFilter(name)) + ' '
                       + shown(asked.getFilterDesc(name)) + " declared";
    for (const AssetReference &entry : asked.getFilterDescVariations(name))
        line += ' ' + shown(entry);
    line += " variations";
    for (const AssetReference &entry : asked.getFilterVariations(name))
        line += ' ' + shown(entry);
    return line;
}

std::string RealRegistry::content(const QByteArray &id) const
{
    const AssetReference asked = reference(id);
    const auto asset = asked.asset();
    if (!asset)
        return "nothing under " + asked.id().toStdString();
    std::string line = asset->debugInfo().toStdString() + " recorded \""
                       + m_database->getNameFromRef(asked).toStdString() + "\" next "
                       + shown(asset->nextVersion.get());
    const bool isInternal = asset->ownReference().lifespan() == AssetReference::Lifespan::Internal;
    line += isInternal ? " internal" : "";
    line += Assets::CollectionControl::isHidden(asked) ? " hidden" : "";
    if (const auto descriptor = std::dynamic_pointer_cast<FilterDescAsset>(asset)) {
        for (const AssetReference &entry : descriptor->implementations)
            line += " lists " + shown(entry);
    }
    if (const auto filter = std::dynamic_pointer_cast<DynamicFilterAsset>(asset)) {
        line += filter->ioDesc.get() ? " described" : "";
        for (const auto &[key, record] : filter->types)
            line += " type \"" + key.toStdString() + "\" " + shown(record->implementationRef.get());
        for (const auto &[key, record] : filter->usages)
            line += " usage \"" + key.toStdString() + "\" "
                    + shown(record->implementationRef.get());
    }
    return line;
}

std::string RealRegistry::collection() const
{
    const auto collection =
            std::dynamic_pointer_cast<Assets::CollectionAsset>(reference(sCollectionId).asset());
    std::string line = "collected";
    for (const AssetReference &item : collection->items())
        line += ' ' + shown(item);
    return line;
}

std::size_t RealRegistry::assetCount() const
{
    std::size_t count = 0;
    m_database->forEachAsset([&count](const AssetReference &, const QString &, const QString &) {
        ++count;
        return true;
    });
    return count;
}

// --- ids

static constexpr std::size_t sGivenIdSize = 38;

static bool isGivenId(const std::string &text, std::size_t at)
{
    return text.size() >= at + sGivenIdSize && text[at] == '{' && text[at + sGivenIdSize - 1] == '}'
           && text[at + 9] == '-' && text[at + 24] == '-';
}

bool RealRegistry::knows(const QByteArray &id) const
{
    const std::string text = id.toStdString();
    return !isGivenId(text, 0) || m_actualIds.contains(text);
}

bool RealRegistry::isSame(const std::vector<std::string> &expected,
                          const std::vector<std::string> &actual)
{
    return std::equal(expected.begin(), expected.end(), actual.begin(), actual.end(),
                      [this](const std::string &left, const std::string &right) {
                          return isSame(left, right);
                      });
}

bool RealRegistry::isSame(const std::string &expected, const std::string &actual)
{
    if (expected.size() != actual.size())
        return false;
    for (std::size_t at = 0; at < expected.size(); ++at) {
        if (isGivenId(expected, at) && isGivenId(actual, at)) {
            const std::string mine = expected.substr(at, sGivenIdSize);
            const std::string theirs = actual.substr(at, sGivenIdSize);
            if (m_actualIds.try_emplace(mine, theirs).first->second != theirs
                || m_expectedIds.try_emplace(theirs, mine).first->second != mine)
                return false;
            at += sGivenIdSize - 1;
        } else if (expected[at] != actual[at]) {
            return false;
        }
    }
    return true;
}

} // namespace FilterBaseTesting
