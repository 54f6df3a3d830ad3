#include "IODescBuilder.h"

#include <nodelibrary/ParameterUid.h>

#include <renderablebase/OutputDesc.h>
#include <renderablebase/ParameterDesc.h>

#include <QHash>
#include <QThread>
#include <QVariantList>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

using RenderableBase::OutputDesc;
using RenderableBase::ParameterDesc;
using RenderableBase::ValueType;

// How many numbers a value of the type has; 0 for a type that is not made of numbers.
static int numberCountOf(const QString &type)
{
    static const QHash<QString, int> counts{
            {u"float"_s, 1},  {u"vector2"_s, 2}, {u"vector3"_s, 3},  {u"vector4"_s, 4},
            {u"color3"_s, 3}, {u"color4"_s, 4},  {u"matrix33"_s, 9}, {u"matrix44"_s, 16},
    };
    return counts.value(type, 0);
}

// The usual forms of a number the standard library reads in a tenth of the time that Qt takes.
static std::optional<double> toPlainNumber(QStringView text)
{
    static constexpr qsizetype sLongest = 32;
    std::array<char, sLongest> digits{};
    if (text.isEmpty() || text.size() > sLongest)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i].unicode();
        if ((unit < u'0' || unit > u'9') && unit != u'.' && unit != u'-')
            return std::nullopt;
        digits[static_cast<std::size_t>(i)] = static_cast<char>(unit);
    }
    double number = 0;
    const char *const end = digits.data() + text.size();
    const auto [parsed, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && parsed == end ? std::optional(number) : std::nullopt;
}

static double toNumber(QStringView text, bool &isNumber)
{
    const std::optional<double> plain = toPlainNumber(text);
    isNumber = plain.has_value();
    return plain ? *plain : text.toDouble(&isNumber);
}

static std::optional<QVariantList> toNumbers(const QString &text)
{
    QVariantList numbers;
    const auto parts = QStringView(text).split(u',');
    for (const QStringView part : parts) {
        bool isNumber = false;
        numbers.append(toNumber(part.trimmed(), isNumber));
        if (!isNumber)
            return std::nullopt;
    }
    return numbers;
}

static QVariant toInteger(const QString &text)
{
    bool isNumber = false;
    const int number = QStringView(text).trimmed().toInt(&isNumber);
    return isNumber ? QVariant(number) : QVariant(text);
}

static QVariant toBoolean(const QString &text)
{
    if (text == "true"_L1)
        return true;
    return text == "false"_L1 ? QVariant(false) : QVariant(text);
}

QVariant IODescBuilder::toValue(const QString &text, const QString &type)
{
    if (type == "integer"_L1)
        return toInteger(text);
    if (type == "boolean"_L1)
        return toBoolean(text);
    const int count = numberCountOf(type);
    if (count == 0)
        return text;
    const std::optional<QVariantList> numbers = toNumbers(text);
    if (!numbers || numbers->size() != count)
        return text;
    return count == 1 ? numbers->front() : QVariant(*numbers);
}

static QVariant valueOf(const NodePort &port, AttributeName name)
{
    if (!port.attributes.contains(name))
        return {};
    return IODescBuilder::toValue(port.attributes.value(name), port.type);
}

// Labels and values are lists parted by commas; a value of several numbers has commas of its own.
static RenderableBase::ParameterEnumeration enumerationOf(const NodePort &port)
{
    RenderableBase::ParameterEnumeration enumeration;
    const QString labels = port.attributes.value(AttributeName::Enum);
    if (labels.isEmpty())
        return enumeration;
    for (const QString &label : labels.split(u','))
        enumeration.labels.append(label.trimmed());
    const QString values = port.attributes.value(AttributeName::EnumValues);
    if (values.isEmpty())
        return enumeration;
    const QStringList parts = values.split(u',');
    const qsizetype size = std::max(numberCountOf(port.type), 1);
    for (qsizetype at = 0; at + size <= parts.size(); at += size)
        enumeration.values.append(IODescBuilder::toValue(
                QStringList(parts.sliced(at, size)).join(u',').trimmed(), port.type));
    return enumeration;
}

static std::shared_ptr<ParameterDesc> describeParameter(const NodePort &port, unsigned int uid)
{
    const auto text = [&port](AttributeName name) {
        return port.attributes.value(name);
    };
    auto parameter = std::make_shared<ParameterDesc>();
    parameter->identifier.set(port.name);
    parameter->uid.set(uid);
    parameter->type.set(port.type);
    parameter->defaultValue.set(valueOf(port, AttributeName::Value));
    parameter->range.set({.minimum = valueOf(port, AttributeName::UiMin),
                          .maximum = valueOf(port, AttributeName::UiMax),
                          .softMinimum = valueOf(port, AttributeName::UiSoftMin),
                          .softMaximum = valueOf(port, AttributeName::UiSoftMax),
                          .step = valueOf(port, AttributeName::UiStep)});
    parameter->enumeration.set(enumerationOf(port));
    parameter->presentation.set({.label = text(AttributeName::UiName),
                                 .group = text(AttributeName::UiFolder),
                                 .documentation = text(AttributeName::Doc),
                                 .unit = text(AttributeName::Unit),
                                 .unitType = text(AttributeName::UnitType),
                                 .colorSpace = text(AttributeName::ColorSpace),
                                 .hint = text(AttributeName::Hint),
                                 .uniform = text(AttributeName::Uniform) == "true"_L1,
                                 .advanced = text(AttributeName::UiAdvanced) == "true"_L1});
    return parameter;
}

// A float pattern is evaluated to an image of one channel, as a colour is to one of several.
static ValueType valueTypeOf(const QString &type)
{
    static const QHash<QString, ValueType> types{
            {u"float"_s, ValueType::Image},     {u"color3"_s, ValueType::Image},
            {u"color4"_s, ValueType::Image},    {u"vector2"_s, ValueType::Float2},
            {u"vector3"_s, ValueType::Float3},  {u"vector4"_s, ValueType::Float4},
            {u"integer"_s, ValueType::Integer}, {u"string"_s, ValueType::String},
            {u"filename"_s, ValueType::String},
    };
    return types.value(type, ValueType::Unknown);
}

static std::shared_ptr<OutputDesc> describeOutput(const NodePort &port)
{
    auto output = std::make_shared<OutputDesc>();
    output->identifier.set(port.name);
    output->valueType.set(valueTypeOf(port.type));
    output->type.set(port.type);
    output->color.set(port.type == "color3"_L1 || port.type == "color4"_L1);
    output->label.set(port.attributes.value(AttributeName::UiName));
    return output;
}

std::shared_ptr<RenderableBase::RenderableIODesc> IODescBuilder::build(const NodeDef &nodeDef,
                                                                       QThread *thread)
{
    auto description = std::make_shared<RenderableBase::RenderableIODesc>();
    const std::vector<unsigned int> uids = ParameterUid::uidsOf(nodeDef.name, nodeDef.parameters);
    std::vector<std::shared_ptr<ParameterDesc>> parameters;
    parameters.reserve(uids.size());
    for (std::size_t i = 0; i < uids.size(); ++i)
        parameters.push_back(describeParameter(nodeDef.parameters[i], uids[i]));
    description->parameters.assign(std::move(parameters));
    for (const NodePort &output : nodeDef.outputs)
        description->outputs.append(describeOutput(output));
    description->updateCache();
    if (thread != QThread::currentThread())
        description->moveWholeTo(thread);
    return description;
}

} // namespace Tesk::NodeLibrary
