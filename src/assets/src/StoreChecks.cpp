#include "StoreChecks.h"

#include <QMetaType>
#include <QSet>
#include <QUrl>

#include <algorithm>
#include <bit>

namespace Tesk::Assets::StoreChecks {

// Deeper lists are a mistake of the caller, and would cost the stack when read.
static constexpr int sMaximalDepth = 16;

void raise(const Place &place, StoreError::Code code, const QString &message,
           const QByteArray &assetId)
{
    raiseStoreError(place.text(), code, message, assetId);
}

QString readable(QByteArrayView id)
{
    const bool isText = std::all_of(id.begin(), id.end(),
                                    [](char unit) { return unit >= 0x20 && unit < 0x7f; });
    return isText ? QString::fromLatin1(id)
                  : QStringLiteral("0x") + QString::fromLatin1(id.toByteArray().toHex());
}

static QString idRefusal(const QByteArray &id)
{
    return id.isEmpty() ? QStringLiteral("Cannot store an asset: its id is empty") : QString();
}

static QString textRefusal(const QString &text, const QByteArray &id)
{
    if (text.isValidUtf16())
        return {};
    return QStringLiteral("Cannot store the text \"%1\" of asset \"%2\": it holds half "
                          "a surrogate pair")
            .arg(text, readable(id));
}

static bool isStorable(const QVariant &value, int depth)
{
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::QByteArray:
    case QMetaType::QUrl:
        return true;
    case QMetaType::QString:
        return static_cast<const QString *>(value.constData())->isValidUtf16();
    case QMetaType::QStringList: {
        const QStringList texts = value.toStringList();
        return std::all_of(texts.begin(), texts.end(),
                           [](const QString &text) { return text.isValidUtf16(); });
    }
    case QMetaType::QVariantList: {
        const QVariantList values = value.toList();
        return depth < sMaximalDepth
               && std::all_of(values.begin(), values.end(), [depth](const QVariant &item) {
                      return isStorable(item, depth + 1);
                  });
    }
    default:
        return false;
    }
}

static QString metaRowRefusal(const MetaRow &row, const QByteArray &id)
{
    if (row.key.isEmpty())
        return QStringLiteral("Cannot store metadata of asset \"%1\": the key is empty")
                .arg(readable(id));
    QString refusal = textRefusal(row.key, id);
    if (refusal.isEmpty() && !isStorable(row.value, 0))
        refusal = QStringLiteral("Cannot store metadata \"%1\" of asset \"%2\": a value of "
                                 "type \"%3\" has no stored form")
                          .arg(row.key, readable(id),
                               QString::fromLatin1(row.value.metaType().name()));
    return refusal;
}

static QString metaDataRefusal(const std::vector<MetaRow> &rows, const QByteArray &id)
{
    for (const MetaRow &row : rows) {
        QString refusal = metaRowRefusal(row, id);
        if (!refusal.isEmpty())
            return refusal;
    }
    const auto isNotBefore = [](const MetaRow &left, const MetaRow &right) {
        return left.key >= right.key;
    };
    if (std::adjacent_find(rows.begin(), rows.end(), isNotBefore) == rows.end())
        return {}; // no key twice, in the order in which nearly everybody has them
    QSet<QString> keys;
    for (const MetaRow &row : rows) {
        if (keys.contains(row.key))
            return QStringLiteral("Cannot store asset \"%1\": metadata \"%2\" is given twice")
                    .arg(readable(id), row.key);
        keys.insert(row.key);
    }
    return {};
}

static QString dependencyRefusal(const std::vector<DependencyRow> &rows, const QByteArray &id)
{
    for (const DependencyRow &row : rows) {
        if (row.id.isEmpty())
            return QStringLiteral("Cannot store asset \"%1\": a dependency has no id")
                    .arg(readable(id));
        QString refusal = textRefusal(row.role, id);
        if (!refusal.isEmpty())
            return refusal;
    }
    return {};
}

QString refusalOf(const AssetWrite &write)
{
    const QByteArray &id = write.row.id;
    QString refusal = idRefusal(id);
    if (refusal.isEmpty() && write.row.className.isEmpty())
        refusal =
                QStringLiteral("Cannot store asset \"%1\": it has no class name").arg(readable(id));
    for (const QString *text : {&write.row.className, &write.row.name, &write.row.category}) {
        if (refusal.isEmpty())
            refusal = textRefusal(*text, id);
    }
    if (refusal.isEmpty() && write.metaData)
        refusal = metaDataRefusal(*write.metaData, id);
    if (refusal.isEmpty() && write.dependencies)
        refusal = dependencyRefusal(*write.dependencies, id);
    return refusal;
}

/// Raises what is refused for a reason; an empty one is none.
static void requireNone(const Place &place, const QString &refusal, const QByteArray &id)
{
    if (!refusal.isEmpty())
        raise(place, StoreError::Code::Misuse, refusal, id);
}

void requireId(const Place &place, const QByteArray &id)
{
    requireNone(place, idRefusal(id), {});
}

void requireText(const Place &place, const QString &text, const QByteArray &id)
{
    requireNone(place, textRefusal(text, id), id);
}

void requireMetaRow(const Place &place, const MetaRow &row, const QByteArray &id)
{
    requireNone(place, metaRowRefusal(row, id), id);
}

void requireWrite(const Place &place, const AssetWrite &write)
{
    requireNone(place, refusalOf(write), write.row.id);
}

void requireRevision(const Place &place, const QByteArray &id, std::optional<qint64> expected,
                     qint64 found)
{
    if (!expected || *expected == found)
        return;
    const QString what = *expected == 0 ? QStringLiteral("it exists already")
                         : found == 0
                                 ? QStringLiteral("it was removed")
                                 : QStringLiteral("revision %1 was expected, %2 found")
                                           .arg(QString::number(*expected), QString::number(found));
    raise(place, StoreError::Code::Changed,
          QStringLiteral("Cannot store asset \"%1\": changed by someone else, %2; "
                         "refresh, then try again")
                  .arg(readable(id), what),
          id);
}

void raiseNoSuchAsset(const Place &place, const QByteArray &id)
{
    raise(place, StoreError::Code::NoSuchAsset,
          QStringLiteral("There is no asset \"%1\" in the store").arg(readable(id)), id);
}

void raiseCycle(const Place &place, const QByteArray &id, const QByteArray &nextVersion)
{
    raise(place, StoreError::Code::VersionCycle,
          QStringLiteral("Cannot store \"%1\" as the next version of asset \"%2\": the versions "
                         "after it lead back to that asset")
                  .arg(readable(nextVersion), readable(id)),
          id);
}

void raiseReadOnly(const Place &place, const QString &location)
{
    raise(place, StoreError::Code::ReadOnly,
          QStringLiteral("Cannot write to \"%1\": it was opened read-only; make the file "
                         "and its folder writable and open it again, or work on a copy")
                  .arg(location));
}

StoreFinding danglingItem(const QByteArray &collection, const QByteArray &item)
{
    return {StoreFinding::Code::DanglingItem, collection, item,
            QStringLiteral("Collection \"%1\" lists \"%2\", which does not exist")
                    .arg(readable(collection), readable(item))};
}

StoreFinding danglingDependency(const QByteArray &id, const QByteArray &dependency)
{
    return {StoreFinding::Code::DanglingDependency, id, dependency,
            QStringLiteral("Asset \"%1\" depends on \"%2\", which does not exist")
                    .arg(readable(id), readable(dependency))};
}

StoreFinding danglingNextVersion(const QByteArray &id, const QByteArray &nextVersion)
{
    return {StoreFinding::Code::DanglingNextVersion, id, nextVersion,
            QStringLiteral("The next version \"%2\" of asset \"%1\" does not exist")
                    .arg(readable(id), readable(nextVersion))};
}

bool isSame(const QVariant &left, const QVariant &right)
{
    if (left.metaType() != right.metaType())
        return false;
    switch (left.metaType().id()) {
    case QMetaType::Double: // by bits: the sign of zero and what is no number count
        return std::bit_cast<quint64>(left.toDouble()) == std::bit_cast<quint64>(right.toDouble());
    case QMetaType::QVariantList: {
        const QVariantList leftItems = left.toList();
        const QVariantList rightItems = right.toList();
        return std::equal(leftItems.begin(), leftItems.end(), rightItems.begin(), rightItems.end(),
                          [](const QVariant &a, const QVariant &b) { return isSame(a, b); });
    }
    default:
        return left == right;
    }
}

bool isSame(const MetaRow &left, const MetaRow &right)
{
    return left.key == right.key && left.type == right.type
           && left.accessibility == right.accessibility && isSame(left.value, right.value);
}

} // namespace Tesk::Assets::StoreChecks
