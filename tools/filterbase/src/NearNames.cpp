#include "NearNames.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace Tesk::Command {

static constexpr qsizetype sMostNames = 3;
static constexpr int sContainedDistance = 2; // "blur" is near to "motion_blur"

int NearNames::distance(const QString &left, const QString &right)
{
    std::vector<int> row(static_cast<std::size_t>(right.size()) + 1);
    std::iota(row.begin(), row.end(), 0);
    for (const QChar c : left) {
        int diagonal = row[0]++;
        for (std::size_t i = 1; i < row.size(); ++i) {
            const bool isSame = right[static_cast<qsizetype>(i) - 1] == c;
            const int replaced = diagonal + (isSame ? 0 : 1);
            diagonal = row[i];
            row[i] = std::min({replaced, row[i] + 1, row[i - 1] + 1});
        }
    }
    return row.back();
}

QStringList NearNames::find(const QString &name, const QStringList &names)
{
    const QString wanted = name.toLower();
    const int farthest = std::max(2, static_cast<int>(wanted.size()) / 3);
    std::vector<std::pair<int, QString>> near;
    for (const QString &each : names) {
        const QString candidate = each.toLower();
        int distance = farthest + 1;
        if (std::abs(candidate.size() - wanted.size()) <= farthest)
            distance = NearNames::distance(wanted, candidate);
        if (wanted.size() > 2 && candidate.contains(wanted))
            distance = std::min(distance, sContainedDistance);
        if (distance <= farthest)
            near.emplace_back(distance, each);
    }
    std::sort(near.begin(), near.end());
    QStringList result;
    for (const auto &[distance, each] : near) {
        if (result.size() < sMostNames && !result.contains(each))
            result.append(each);
    }
    return result;
}

QString NearNames::hint(const QString &name, const QStringList &names)
{
    QStringList near = find(name, names);
    if (near.isEmpty())
        return {};
    for (QString &each : near)
        each = u'"' + each + u'"';
    return QStringLiteral(" Did you mean %1?").arg(near.join(QStringLiteral(" or ")));
}

} // namespace Tesk::Command
