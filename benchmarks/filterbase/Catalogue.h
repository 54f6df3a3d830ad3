#pragma once

#include "../../tests/filterbase/support/FakeFilter.h"

#include <filterbase/FilterManager.h>

#include <assets/AssetDatabaseService.h>
#include <assets/AssetReference.h>

#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace Tesk::Benchmarks {

/// A catalogue file in a temporary folder, with the services of a host around it.
class Catalogue
{
public:
    /// Opens the file \a path; in memory when it is empty.
    explicit Catalogue(const QString &path);
    ~Catalogue();
    Catalogue(const Catalogue &) = delete;
    Catalogue &operator=(const Catalogue &) = delete;

    /// Files three implementations for each of \a filters names, ten parameters each, every other
    /// one shared by the three. Not registered yet.
    std::vector<Assets::AssetReference> makeImplementations(int filters, int firstFilter = 0);

    /// Files a concrete filter with a descriptor of its own.
    void registerDescriptors(FilterBase::FilterManager &manager, int filters, int firstFilter = 0);

    const std::shared_ptr<Assets::AssetDatabaseService> &database() const { return m_database; }

private:
    std::shared_ptr<Assets::AssetDatabaseService> m_database;
};

/// "Gaussian Blur 000123": mixed case, as long as real names are.
QString filterName(int number);

} // namespace Tesk::Benchmarks
