#pragma once

#include <assets/AssetEncoding.h>
#include <data/ClassRegistry.h>

#include <QString>

#include <memory>

namespace Tesk::Assets {

class Asset;

/// Makes assets of classes that are known by name, and keeps the list of asset types.
///
/// Threads: any.
namespace AssetFactory {

AssetEncoding encodedByCommitter(const Asset &asset);
AssetEncoding encodedAnywhere(const Asset &asset);

void registerType(const QString &typeName, AssetEncodingOf encodingOf = encodedByCommitter);
bool isType(const QString &typeName);
bool isEncodedAnywhere(const Asset &asset);

/// Makes the classes of this module known; the first call does it.
void registerOwnTypes();

/// Returns a new asset of the main thread; null without a factory, or when that makes
/// something else.
std::shared_ptr<Asset> create(const QString &typeName);

/// Makes one asset after the other, and looks for the factory only where the class changes.
///
/// Threads: one at a time; use it for one job and throw it away.
class Series
{
public:
    /// As create().
    std::shared_ptr<Asset> create(const QString &typeName);

private:
    QString m_typeName;
    Data::ClassRegistry::Factory m_make;
};

/// Gives \a asset to the main thread when it is of the calling one.
void moveToMainThread(Asset &asset);

} // namespace AssetFactory

} // namespace Tesk::Assets
