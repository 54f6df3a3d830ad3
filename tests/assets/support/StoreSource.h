#pragma once

#include <assets/Store.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Tesk::Assets {

/// One content, of which any number of stores can be opened.
class StoreSource
{
public:
    virtual ~StoreSource();

    /// Opens a store, as another process would.
    virtual std::unique_ptr<Store> open() = 0;

    /// Opens one that refuses to write; something must have been stored before.
    virtual std::unique_ptr<Store> openReadOnly() = 0;
};

struct StoreKind
{
    std::string name;
    std::function<std::unique_ptr<StoreSource>()> make;
};
void PrintTo(const StoreKind &kind, std::ostream *stream);

/// Every kind of store there is: for suites that each of them must pass.
std::vector<StoreKind> allStoreKinds();

} // namespace Tesk::Assets
