#pragma once

#include "Place.h"

#include <assets/StoreError.h>
#include <assets/StoreRows.h>

#include <QByteArrayView>
#include <QStringView>
#include <QVariant>

/// What every store refuses or understands in the same way.
namespace Tesk::Assets::StoreChecks {

/// Logs and throws, as raiseStoreError() does.
[[noreturn]] void raise(const Place &place, StoreError::Code code, const QString &message,
                        const QByteArray &assetId = {});

/// Returns the id as people read it: text where it is text, else hexadecimal.
QString readable(QByteArrayView id);

void requireId(const Place &place, const QByteArray &id);

/// Raises Misuse for text that has no UTF-8 form.
void requireText(const Place &place, const QString &text, const QByteArray &id);
void requireMetaRow(const Place &place, const MetaRow &row, const QByteArray &id);

/// Returns why no store would take this, empty where one would; looks at nothing stored.
QString refusalOf(const AssetWrite &write);

/// Raises Misuse where there is a refusal.
void requireWrite(const Place &place, const AssetWrite &write);

/// Raises Changed where \a found, 0 for no asset, is not what was expected.
void requireRevision(const Place &place, const QByteArray &id, std::optional<qint64> expected,
                     qint64 found);

[[noreturn]] void raiseNoSuchAsset(const Place &place, const QByteArray &id);
[[noreturn]] void raiseCycle(const Place &place, const QByteArray &id,
                             const QByteArray &nextVersion);
[[noreturn]] void raiseReadOnly(const Place &place, const QString &location);

StoreFinding danglingItem(const QByteArray &collection, const QByteArray &item);
StoreFinding danglingDependency(const QByteArray &id, const QByteArray &dependency);
StoreFinding danglingNextVersion(const QByteArray &id, const QByteArray &nextVersion);

/// Returns whether the values are of the same type and the same, nested ones included.
bool isSame(const QVariant &left, const QVariant &right);
bool isSame(const MetaRow &left, const MetaRow &right);

} // namespace Tesk::Assets::StoreChecks
