#include "Choice.h"

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

static QString listOf(const QStringList &keys)
{
    return keys.isEmpty() ? u"none"_s : keys.join(u", "_s);
}

QString Choice::keysText(const FilterView &filter)
{
    QStringList types;
    QStringList usages;
    for (const KeyView &each : filter.types())
        types.append(each.key);
    for (const KeyView &each : filter.usages())
        usages.append(each.key);
    if (const ImplementationView *head = filter.onlyHead();
        head != nullptr && head->asset && !filter.isDynamic()) {
        const QStringList parts = head->asset->variationText.get().split(u',');
        for (const QString &part : parts) {
            if (part.startsWith("default_"_L1))
                types.append(part.sliced(8));
            else
                usages.append(part);
        }
    }
    return u"types: %1; usages: %2"_s.arg(listOf(types), listOf(usages));
}

} // namespace Tesk::Command
