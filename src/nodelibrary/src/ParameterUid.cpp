#include <nodelibrary/ParameterUid.h>

#include <algorithm>
#include <unordered_set>

namespace Tesk::NodeLibrary {

static constexpr quint32 sOffsetBasis = 2166136261U;
static constexpr quint32 sPrime = 16777619U;

// Goes on with a hash by what stands behind the text that it is of.
static quint32 extended(quint32 hash, QStringView text)
{
    const auto add = [&hash](quint32 byte) {
        hash = (hash ^ byte) * sPrime;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i].unicode() >= 0x80) {
            const QByteArray bytes = text.sliced(i).toUtf8();
            for (const char byte : bytes)
                add(static_cast<quint8>(byte));
            break;
        }
        add(text[i].unicode());
    }
    return hash;
}

namespace {

// The uids of one nodedef. Few are compared one by one, in a fraction of the time of a table.
class TakenUids
{
public:
    bool take(quint32 uid)
    {
        if (m_table.empty() && m_few.size() < sFew) {
            if (uid == 0 || std::find(m_few.begin(), m_few.end(), uid) != m_few.end())
                return false;
            m_few.push_back(uid);
            return true;
        }
        if (m_table.empty())
            m_table.insert(m_few.begin(), m_few.end());
        return uid != 0 && m_table.insert(uid).second;
    }

private:
    static constexpr std::size_t sFew = 32;

    std::vector<quint32> m_few;
    std::unordered_set<quint32> m_table;
};

} // namespace

unsigned int ParameterUid::hash(const QString &text)
{
    return extended(sOffsetBasis, text);
}

std::vector<unsigned int> ParameterUid::uidsOf(const QString &nodeDefName,
                                               const std::vector<NodePort> &parameters)
{
    std::vector<unsigned int> uids;
    uids.reserve(parameters.size());
    TakenUids taken;
    const quint32 prefix = hash(nodeDefName + u'.');
    for (const NodePort &parameter : parameters) {
        const quint32 first = extended(prefix, parameter.name);
        quint32 uid = first;
        for (int attempt = 2; !taken.take(uid); ++attempt)
            uid = extended(first, u'#' + QString::number(attempt));
        uids.push_back(uid);
    }
    return uids;
}

} // namespace Tesk::NodeLibrary
