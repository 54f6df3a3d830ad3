#pragma once

#include "../HideRecorder.h"
#include "Step.h"

#include <filterbase/FilterManager.h>

#include <assets/AssetDatabaseService.h>
#include <assets/MemoryStore.h>
#include <support/RecordedLog.h>

#include <QTemporaryDir>

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace FilterBaseTesting {

/// The filter managers that a model is compared with, over a database of their own.
class RealRegistry
{
public:
    enum class Storage { Memory, File };

    explicit RealRegistry(Storage storage);
    ~RealRegistry();

    Outcome run(const Step &step);
    std::string lookUp(int manager, const QString &name) const;
    std::string content(const QByteArray &id) const;
    std::string collection() const;
    std::size_t assetCount() const;

    /// Whether the lines are the same. Ids that the database gave are compared with the numbers
    /// that the model gives: each stands for the same one as long as this object lives.
    bool isSame(const std::vector<std::string> &expected, const std::vector<std::string> &actual);

    /// Whether the model's id can be used here: it is not one of the database that nobody saw.
    bool knows(const QByteArray &id) const;

private:
    using AssetReference = Tesk::Assets::AssetReference;

    void open();
    void close();
    std::vector<AssetReference> apply(const Step &step);
    std::vector<AssetReference> applyOnWorker(const Step &step);
    void add(const Step &step);
    void restart(const Step &step);
    void commitScope();
    void leaveScope();
    void renewManager(int which);
    AssetReference reference(const QByteArray &id) const;
    std::vector<AssetReference> references(const std::vector<QByteArray> &ids) const;
    Tesk::FilterBase::FilterManager &manager(int which) const;
    std::vector<std::string> records() const;
    bool isSame(const std::string &expected, const std::string &actual);

    Tesk::Assets::MemoryStore m_memory;
    std::optional<QTemporaryDir> m_folder;
    std::shared_ptr<Tesk::Assets::AssetDatabaseService> m_database;
    std::unique_ptr<Tesk::Assets::AssetDatabaseService::BatchScope> m_scope;
    std::set<int> m_inScope; ///< the managers that took part
    std::shared_ptr<std::optional<Refusal>> m_refusal = std::make_shared<std::optional<Refusal>>();
    std::array<std::unique_ptr<Tesk::FilterBase::FilterManager>, 2> m_managers;
    std::map<std::string, std::string> m_actualIds; ///< by the model's
    std::map<std::string, std::string> m_expectedIds;
    Tesk::TestSupport::RecordedLog m_log;
    HideRecorder m_hides;
};

} // namespace FilterBaseTesting
