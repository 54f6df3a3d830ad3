#include <nodelibrary/NodeDef.h>

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// In the order of the enumeration.
static constexpr std::array sAttributeTexts = {
        "value"_L1,     "defaultgeomprop"_L1, "uimin"_L1,    "uimax"_L1,
        "uisoftmin"_L1, "uisoftmax"_L1,       "uistep"_L1,   "uiname"_L1,
        "uifolder"_L1,  "uiadvanced"_L1,      "doc"_L1,      "uniform"_L1,
        "hint"_L1,      "colorspace"_L1,      "unittype"_L1, "unit"_L1,
        "enum"_L1,      "enumvalues"_L1,      "default"_L1,  "defaultinput"_L1,
};

QLatin1StringView attributeText(AttributeName name)
{
    return sAttributeTexts.at(static_cast<std::size_t>(name));
}

template<class View>
static std::optional<AttributeName> attributeSpelled(View text)
{
    const auto found = std::find(sAttributeTexts.begin(), sAttributeTexts.end(), text);
    if (found == sAttributeTexts.end())
        return std::nullopt;
    return static_cast<AttributeName>(found - sAttributeTexts.begin());
}

std::optional<AttributeName> attributeFromText(QStringView text)
{
    return attributeSpelled(text);
}

std::optional<AttributeName> attributeFromText(QLatin1StringView text)
{
    return attributeSpelled(text);
}

QString Attributes::value(AttributeName name) const
{
    const auto found = std::find_if(m_values.begin(), m_values.end(),
                                    [name](const auto &entry) { return entry.first == name; });
    return found == m_values.end() ? QString() : found->second;
}

bool Attributes::contains(AttributeName name) const
{
    return std::any_of(m_values.begin(), m_values.end(),
                       [name](const auto &entry) { return entry.first == name; });
}

void Attributes::set(AttributeName name, const QString &value)
{
    const auto found = std::find_if(m_values.begin(), m_values.end(),
                                    [name](const auto &entry) { return entry.first == name; });
    if (found == m_values.end())
        m_values.emplace_back(name, value);
    else
        found->second = value;
}

bool Attributes::operator==(const Attributes &other) const
{
    return m_values.size() == other.m_values.size()
           && std::is_permutation(m_values.begin(), m_values.end(), other.m_values.begin());
}

QString NodeDef::outputType() const
{
    if (outputs.empty())
        return u"none"_s;
    return outputs.size() == 1 ? outputs.front().type : u"multioutput"_s;
}

QString NodeDef::defaultActiveOutputs() const
{
    if (hasUniqueOutput()) // nearly always
        return outputs.front().name;
    QStringList names;
    for (const NodePort &output : outputs)
        names.append(output.name);
    return names.join(u',');
}

QString NodeDef::variableUsage() const
{
    for (const NodePort &output : outputs) {
        QString input = output.attributes.value(AttributeName::DefaultInput);
        if (!input.isEmpty())
            return input;
    }
    return {};
}

QString qualified(const QString &name, const QString &nameSpace)
{
    if (nameSpace.isEmpty() || name.startsWith(nameSpace + u':'))
        return name;
    return nameSpace + u':' + name;
}

} // namespace Tesk::NodeLibrary
