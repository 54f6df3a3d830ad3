#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <QString>
#include <QStringView>

#include <optional>
#include <utility>
#include <vector>

namespace Tesk::NodeLibrary {

/// The attributes that are kept as text; every other one is ignored.
enum class AttributeName : quint8 {
    Value,
    DefaultGeomProp,
    UiMin,
    UiMax,
    UiSoftMin,
    UiSoftMax,
    UiStep,
    UiName,
    UiFolder,
    UiAdvanced,
    Doc,
    Uniform,
    Hint,
    ColorSpace,
    UnitType,
    Unit,
    Enum,
    EnumValues,
    Default,
    DefaultInput,
};

/// The spelling of \a name in a file.
NODELIBRARY_EXPORT QLatin1StringView attributeText(AttributeName name);

/// The attribute spelled \a text, case-sensitively.
NODELIBRARY_EXPORT std::optional<AttributeName> attributeFromText(QStringView text);
NODELIBRARY_EXPORT std::optional<AttributeName> attributeFromText(QLatin1StringView text);

/// Attribute values exactly as written, in the order of the element.
class NODELIBRARY_EXPORT Attributes
{
public:
    /// The value of \a name, empty when it is absent.
    QString value(AttributeName name) const;
    bool contains(AttributeName name) const;
    bool isEmpty() const { return m_values.empty(); }

    /// Sets \a name, which overwrites an earlier value.
    void set(AttributeName name, const QString &value);

    auto begin() const { return m_values.begin(); }
    auto end() const { return m_values.end(); }

    /// Equal when the same names have the same values, in whatever order.
    bool operator==(const Attributes &other) const;

private:
    std::vector<std::pair<AttributeName, QString>> m_values;
};

/// One input or output of a nodedef.
struct NODELIBRARY_EXPORT NodePort
{
    enum class Kind : quint8 { Input = 0, Parameter = 1, Token = 2, Output = 3 };

    Kind kind = Kind::Input;
    QString name;
    QString type;
    Attributes attributes;
    bool inherited = false; ///< came from a base, or was made up for want of an output

    bool operator==(const NodePort &) const = default;
};

/// One node definition as a file writes it, with its names qualified by its namespace.
///
/// A plain value. The ports that a base contributes stand behind the own ones once
/// Inheritance has been through it.
struct NODELIBRARY_EXPORT NodeDef
{
    QString name; ///< unique in a library
    QString node; ///< the node it overloads: the name of its filter
    QString nameSpace;
    QString nodeGroup;
    QString version;
    QString inherit; ///< as written, unqualified
    QString target;
    QString type; ///< the output type in the older grammar
    bool isDefaultVersion = false;
    Attributes attributes; ///< documentation, display name, default of an implied output

    std::vector<NodePort> parameters;
    std::vector<NodePort> outputs;

    QString filePath;     ///< the file it was read from
    QString relativePath; ///< the same below the library's folder, "/" between the parts
    qint64 line = 0;
    qint64 column = 0;

    /// The type that tells overloads apart: of the single output, else "multioutput" or "none".
    QString outputType() const;

    /// True for exactly one output.
    bool hasUniqueOutput() const { return outputs.size() == 1; }

    /// The names of all outputs in order, joined with ",".
    QString defaultActiveOutputs() const;

    /// The input whose plug the first such output passes on; empty when there is none.
    QString variableUsage() const;

    bool operator==(const NodeDef &) const = default;
};

/// Puts \a name into \a nameSpace unless it is there already or there is none.
NODELIBRARY_EXPORT QString qualified(const QString &name, const QString &nameSpace);

} // namespace Tesk::NodeLibrary
