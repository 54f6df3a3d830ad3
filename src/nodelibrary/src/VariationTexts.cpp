#include <nodelibrary/VariationTexts.h>

#include <algorithm>
#include <set>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// The registry splits a text at its commas.
static QString withoutCommas(QString text)
{
    return text.replace(u',', "%2C"_L1);
}

static QString usageOf(const QString &type)
{
    const bool isMistakable = type.contains(u',') || type.startsWith("default_"_L1)
                              || type.startsWith("nodedef:"_L1) || type == "output_size"_L1
                              || type == "dynamic"_L1;
    return isMistakable ? u"type:"_s + withoutCommas(type) : type;
}

QStringList VariationTexts::partsOf(const QString &type)
{
    // A float pattern evaluates to a one-channel image, hence the second part.
    static const std::vector<std::pair<QString, QStringList>> known{
            {u"float"_s, {u"default_float"_s, u"default_grayscale"_s}},
            {u"vector2"_s, {u"default_float2"_s}},
            {u"vector3"_s, {u"default_float3"_s}},
            {u"vector4"_s, {u"default_float4"_s}},
            {u"integer"_s, {u"default_integer"_s}},
            {u"color3"_s, {u"default_color"_s}},
            {u"color4"_s, {u"default_color"_s, u"color4"_s}},
            {u"string"_s, {u"default_string"_s}},
            {u"filename"_s, {u"default_string"_s, u"filename"_s}},
    };
    if (type.isEmpty())
        return {};
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const auto &entry) { return entry.first == type; });
    return found == known.end() ? QStringList{usageOf(type)} : found->second;
}

namespace {

class Claims
{
public:
    // The parts of the nodedef's outputs that nobody has claimed before, joined with ",".
    QString claim(const NodeDef &nodeDef)
    {
        QString claimed;
        for (const NodePort &output : nodeDef.outputs) {
            const QStringList parts = VariationTexts::partsOf(output.type);
            for (const QString &part : parts) {
                if (take(part))
                    claimed = claimed.isEmpty() ? part : claimed + u',' + part;
            }
        }
        return claimed;
    }

    // Names are unique, but two of them may be one once their commas are written otherwise.
    QString claimName(const NodeDef &nodeDef)
    {
        const QString part = u"nodedef:"_s + withoutCommas(nodeDef.name);
        QString unique = part;
        for (int attempt = 2; !take(unique); ++attempt)
            unique = part + u'#' + QString::number(attempt);
        return unique;
    }

private:
    bool take(const QString &part) { return m_taken.insert(part).second; }

    std::set<QString> m_taken;
};

} // namespace

static constexpr int sLastRank = 2;

// Who chooses first: the plain types before those that would be content with a part of their own.
static int rankOf(const NodeDef &nodeDef)
{
    if (nodeDef.outputs.size() > 1)
        return sLastRank;
    const bool isContent =
            nodeDef.hasUniqueOutput()
            && (nodeDef.outputs[0].type == "color4"_L1 || nodeDef.outputs[0].type == "filename"_L1);
    return isContent ? 1 : 0;
}

QStringList VariationTexts::assign(const std::vector<Head> &heads)
{
    Claims claims;
    QStringList texts(static_cast<qsizetype>(heads.size()));
    for (int rank = 0; rank <= sLastRank; ++rank) {
        for (qsizetype index = 0; index < texts.size(); ++index) {
            const Head &head = heads[static_cast<std::size_t>(index)];
            if (head.kind == VersionPlace::Kind::Current && rankOf(*head.nodeDef) == rank)
                texts[index] = claims.claim(*head.nodeDef);
        }
    }
    for (qsizetype index = 0; index < texts.size(); ++index) {
        if (texts[index].isEmpty())
            texts[index] = claims.claimName(*heads[static_cast<std::size_t>(index)].nodeDef);
    }
    return texts;
}

} // namespace Tesk::NodeLibrary
