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

// Up to here a walk finds a parameter about as fast as a look-up that had to be built.
static constexpr std::size_t sWalkLimit = 32;

// How many numbers a value of the type has; 0 for a type that is not made of numbers.
static int numberCountOf(const QString &type)
{
    static constexpr std::array<std::pair<QLatin1StringView, int>, 8> counts{{
            {"float"_L1, 1},
            {"color3"_L1, 3},
            {"color4"_L1, 4},
            {"vector2"_L1, 2},
            {"vector3"_L1, 3},
            {"vector4"_L1, 4},
            {"matrix33"_L1, 9},
            {"matrix44"_L1, 16},
    }};
    const auto *const found = std::find_if(
            counts.begin(), counts.end(), [&type](const auto &each) { return type == each.first; });
    return found == counts.end() ? 0 : found->second;
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

// Exactly so many numbers, parted by commas; null for anything else.
static std::optional<QVariantList> toNumbers(QStringView text, int count)
{
    QVariantList numbers;
    numbers.reserve(count);
    for (int left = count - 1; left >= 0; --left) {
        const qsizetype comma = left > 0 ? text.indexOf(u',') : text.size();
        if (comma < 0)
            return std::nullopt;
        bool isNumber = false;
        numbers.append(toNumber(text.first(comma).trimmed(), isNumber));
        if (!isNumber)
            return std::nullopt;
        text = text.sliced(std::min(comma + 1, text.size()));
    }
    return numbers;
}

static QVariant toNumberOrText(const QString &text)
{
    bool isNumber = false;
    const double number = toNumber(QStringView(text).trimmed(), isNumber);
    return isNumber ? QVariant(number) : QVariant(text);
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
    if (count == 1)
        return toNumberOrText(text);
    const std::optional<QVariantList> numbers = toNumbers(text, count);
    return numbers ? QVariant(*numbers) : QVariant(text);
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

static QVariant *limitOf(RenderableBase::ParameterRange &range, AttributeName name)
{
    switch (name) {
    case AttributeName::UiMin:
        return &range.minimum;
    case AttributeName::UiMax:
        return &range.maximum;
    case AttributeName::UiSoftMin:
        return &range.softMinimum;
    case AttributeName::UiSoftMax:
        return &range.softMaximum;
    case AttributeName::UiStep:
        return &range.step;
    default:
        return nullptr;
    }
}

static void present(RenderableBase::ParameterPresentation &presentation, AttributeName name,
                    const QString &text)
{
    switch (name) {
    case AttributeName::UiName:
        presentation.label = text;
        break;
    case AttributeName::UiFolder:
        presentation.group = text;
        break;
    case AttributeName::Doc:
        presentation.documentation = text;
        break;
    case AttributeName::Unit:
        presentation.unit = text;
        break;
    case AttributeName::UnitType:
        presentation.unitType = text;
        break;
    case AttributeName::ColorSpace:
        presentation.colorSpace = text;
        break;
    case AttributeName::Hint:
        presentation.hint = text;
        break;
    case AttributeName::Uniform:
        presentation.uniform = text == "true"_L1;
        break;
    case AttributeName::UiAdvanced:
        presentation.advanced = text == "true"_L1;
        break;
    default:
        break;
    }
}

static std::shared_ptr<ParameterDesc> describeParameter(const NodePort &port, unsigned int uid)
{
    auto parameter = std::make_shared<ParameterDesc>();
    parameter->identifier.set(port.name);
    parameter->uid.set(uid);
    parameter->type.set(port.type);
    // Goes through what there is: most ports have few of the many attributes they could have.
    RenderableBase::ParameterRange range;
    RenderableBase::ParameterPresentation presentation;
    bool isLimited = false;
    for (const auto &[name, text] : port.attributes) {
        if (name == AttributeName::Value) {
            parameter->defaultValue.set(IODescBuilder::toValue(text, port.type));
        } else if (name == AttributeName::Enum) {
            parameter->enumeration.set(enumerationOf(port));
        } else if (QVariant *const limit = limitOf(range, name)) {
            *limit = IODescBuilder::toValue(text, port.type);
            isLimited = true;
        } else {
            present(presentation, name, text);
        }
    }
    if (isLimited)
        parameter->range.set(std::move(range));
    parameter->presentation.set(std::move(presentation));
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
    std::vector<std::shared_ptr<OutputDesc>> outputs;
    outputs.reserve(nodeDef.outputs.size());
    for (const NodePort &output : nodeDef.outputs)
        outputs.push_back(describeOutput(output));
    description->outputs.assign(std::move(outputs));
    if (uids.size() > sWalkLimit)
        description->updateCache();
    if (thread != QThread::currentThread())
        description->moveWholeTo(thread);
    return description;
}

} // namespace Tesk::NodeLibrary
