#include "Choice.h"

#include "NearNames.h"

#include <filterbase/ImplementationInfo.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

static bool hasPart(const ImplementationView &implementation, const QString &part)
{
    return implementation.asset
           && implementation.asset->variationText.get().split(u',').contains(part);
}

// A static filter files nothing; its text says what it stands for.
static Choice ofStatic(const FilterView &filter, const QString &usage, const QString &type)
{
    const ImplementationView *head = filter.onlyHead();
    if (head == nullptr)
        return {};
    Choice choice;
    choice.implementation = head->reference;
    if (!usage.isEmpty() && hasPart(*head, usage))
        choice.found = Choice::Found::ByUsage;
    else if (!type.isEmpty() && hasPart(*head, u"default_"_s + type))
        choice.found = Choice::Found::ByType;
    else if (usage.isEmpty() && type.isEmpty())
        choice.found = Choice::Found::AsOnlyOne;
    else
        choice.implementation = {};
    return choice;
}

Choice Choice::of(const FilterView &filter, const QString &usage, const QString &type)
{
    if (!filter.isDynamic())
        return ofStatic(filter, usage, type);
    const FilterBase::ImplementationInfo &info =
            filter.dynamic->getImplementationForUsageAndType(usage, type);
    Choice choice;
    choice.implementation = info.implementationRef.get();
    if (choice.implementation.isInvalid())
        return choice;
    choice.info = &info;
    choice.found = filter.dynamic->usages.contains(usage) ? Found::ByUsage : Found::ByType;
    return choice;
}

namespace {

// What may be asked of a filter.
struct Keys
{
    QStringList types;
    QStringList usages;
};

} // namespace

static Keys keysOf(const FilterView &filter)
{
    Keys keys;
    for (const KeyView &each : filter.types())
        keys.types.append(each.key);
    for (const KeyView &each : filter.usages())
        keys.usages.append(each.key);
    const ImplementationView *head = filter.onlyHead();
    if (filter.isDynamic() || head == nullptr || !head->asset)
        return keys;
    const QStringList parts = head->asset->variationText.get().split(u',');
    for (const QString &part : parts) {
        if (part.startsWith("default_"_L1))
            keys.types.append(part.sliced(8));
        else
            keys.usages.append(part);
    }
    return keys;
}

static QString listOf(const QStringList &keys)
{
    return keys.isEmpty() ? u"none"_s : keys.join(u", "_s);
}

QString Choice::keysText(const FilterView &filter)
{
    const Keys keys = keysOf(filter);
    return u"types: %1; usages: %2"_s.arg(listOf(keys.types), listOf(keys.usages));
}

QString Choice::refusalText(const FilterView &filter, const QString &usage, const QString &type)
{
    if (usage.isEmpty() && type.isEmpty())
        return u"\"%1\" has several implementations; pick one with --type or --usage: it has %2"_s
                .arg(filter.name, keysText(filter));
    const Keys keys = keysOf(filter);
    QStringList wanted;
    QString hint;
    if (!usage.isEmpty()) {
        wanted.append(u"the usage \"%1\""_s.arg(usage));
        hint = NearNames::hint(usage, keys.usages);
    }
    if (!type.isEmpty()) {
        wanted.append(u"the type \"%1\""_s.arg(type));
        hint += NearNames::hint(type, keys.types);
    }
    return u"\"%1\" has no implementation for %2; it has %3.%4"_s.arg(
            filter.name, wanted.join(u" or "_s), keysText(filter), hint);
}

} // namespace Tesk::Command
