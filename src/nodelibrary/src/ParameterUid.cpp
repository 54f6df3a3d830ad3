#include <nodelibrary/ParameterUid.h>

#include <unordered_set>

namespace Tesk::NodeLibrary {

static constexpr quint32 sOffsetBasis = 2166136261U;
static constexpr quint32 sPrime = 16777619U;

// Goes on with a hash by what stands behind the text that it is of.
static quint32 extended(quint32 hash, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    for (const char byte : bytes)
        hash = (hash ^ static_cast<quint8>(byte)) * sPrime;
    return hash;
}

unsigned int ParameterUid::hash(const QString &text)
{
    return extended(sOffsetBasis, text);
}

std::vector<unsigned int> ParameterUid::uidsOf(const QString &nodeDefName,
                                               const std::vector<NodePort> &parameters)
{
    std::vector<unsigned int> uids;
    std::unordered_set<unsigned int> taken;
    uids.reserve(parameters.size());
    taken.reserve(parameters.size() + 1);
    taken.insert(0);
    const quint32 prefix = hash(nodeDefName + u'.');
    for (const NodePort &parameter : parameters) {
        const quint32 first = extended(prefix, parameter.name);
        quint32 uid = first;
        for (int attempt = 2; !taken.insert(uid).second; ++attempt)
            uid = extended(first, u'#' + QString::number(attempt));
        uids.push_back(uid);
    }
    return uids;
}

} // namespace Tesk::NodeLibrary
