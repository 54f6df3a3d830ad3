#include <nodelibrary/ParameterUid.h>

#include <algorithm>
#include <unordered_set>

namespace Tesk::NodeLibrary {

unsigned int ParameterUid::hash(const QString &text)
{
    quint32 value = 2166136261U;
    const QByteArray bytes = text.toUtf8();
    for (const char byte : bytes) {
        value ^= static_cast<quint8>(byte);
        value *= 16777619U;
    }
    return value;
}

std::vector<unsigned int> ParameterUid::uidsOf(const QString &nodeDefName,
                                               const std::vector<NodePort> &parameters)
{
    std::vector<unsigned int> uids;
    std::unordered_set<unsigned int> taken{0};
    uids.reserve(parameters.size());
    for (const NodePort &parameter : parameters) {
        const QString text = nodeDefName + u'.' + parameter.name;
        unsigned int uid = hash(text);
        for (int attempt = 2; !taken.insert(uid).second; ++attempt)
            uid = hash(text + u'#' + QString::number(attempt));
        uids.push_back(uid);
    }
    return uids;
}

} // namespace Tesk::NodeLibrary
