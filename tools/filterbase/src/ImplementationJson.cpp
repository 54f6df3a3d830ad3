#include "ImplementationJson.h"

#include "Answer.h"

#include <assets/MetaData.h>
#include <assets/MetaDataControl.h>
#include <filterbase/ImplementationInfo.h>
#include <filterbase/UserDataKeys.h>
#include <nodelibrary/ParameterUid.h>
#include <renderablebase/ParameterDesc.h>

#include <QUrl>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using NodeLibrary::AttributeName;
using NodeLibrary::NodeDef;
using NodeLibrary::NodePort;

// A uid has 32 bits without a sign; as a double or an int it would lose its upper half.
static QJsonValue uidValue(unsigned int uid)
{
    return QJsonValue(static_cast<qint64>(uid));
}

static QJsonArray parametersOf(const NodeDef &nodeDef)
{
    QJsonArray array;
    const std::vector<unsigned int> uids =
            NodeLibrary::ParameterUid::uidsOf(nodeDef.name, nodeDef.parameters);
    for (std::size_t i = 0; i < uids.size(); ++i) {
        const NodePort &port = nodeDef.parameters[i];
        const bool hasValue = port.attributes.contains(AttributeName::Value);
        array.append(QJsonObject{
                {u"identifier"_s, port.name},
                {u"uid"_s, uidValue(uids[i])},
                {u"type"_s, port.type},
                {u"value"_s, hasValue ? QJsonValue(port.attributes.value(AttributeName::Value))
                                      : QJsonValue(QJsonValue::Null)},
        });
    }
    return array;
}

static QJsonArray mergedParametersOf(const FilterView &filter)
{
    QJsonArray array;
    const auto description = filter.description();
    if (!description)
        return array;
    for (const auto &parameter : description->parameters) {
        array.append(QJsonObject{
                {u"identifier"_s, parameter->identifier.get()},
                {u"uid"_s, uidValue(parameter->uid.get())},
                {u"from"_s, Answer::orNull(filter.originOf(parameter->uid.get()))},
        });
    }
    return array;
}

static QJsonObject uidTablesOf(const std::vector<KeyView> &keys)
{
    QJsonObject tables;
    for (const KeyView &each : keys) {
        QJsonObject table;
        for (const auto &[merged, own] : each.info->paramUidCorrespondance)
            table.insert(QString::number(merged), uidValue(own));
        tables.insert(each.key, table);
    }
    return tables;
}

QString ImplementationJson::idOf(const Assets::AssetReference &reference)
{
    return QString::fromUtf8(reference.id());
}

QJsonObject ImplementationJson::ofImplementation(const ImplementationView &implementation)
{
    const Assets::MetaData metaData =
            Assets::MetaDataControl::getMetaData(implementation.reference);
    const auto text = [&metaData](const QString &key) {
        return Answer::orNull(metaData.value(key).toString());
    };
    QJsonObject object{
            {u"id"_s, idOf(implementation.reference)},
            {u"nodedef"_s, implementation.nodeDef},
            {u"variationType"_s, metaData.value(FilterBase::variationTypeUserDataKey).toString()},
            {u"uniqueOutput"_s, metaData.value(FilterBase::uniqueOutputUserDataKey).toBool()},
            {u"defaultActiveOutputs"_s,
             metaData.value(FilterBase::defaultActiveOutputsUserDataKey).toString()},
            {u"variableUsage"_s, text(FilterBase::variableUsageUserDataKey)},
            {u"category"_s, text(u"Category"_s)},
            {u"source"_s, QJsonValue::Null},
            {u"parameters"_s, QJsonArray()},
            {u"next"_s, QJsonValue::Null},
    };
    if (!implementation.asset)
        return object;
    object.insert(u"source"_s,
                  Answer::orNull(implementation.asset->getSourceFileUrl().toLocalFile()));
    object.insert(u"parameters"_s, parametersOf(implementation.asset->definition.get()));
    object.insert(u"next"_s, Answer::orNull(idOf(implementation.asset->nextVersion.get())));
    return object;
}

QJsonArray
ImplementationJson::ofImplementations(const std::vector<ImplementationView> &implementations)
{
    QJsonArray array;
    for (const ImplementationView &each : implementations)
        array.append(ofImplementation(each));
    return array;
}

QJsonObject ImplementationJson::ofKeys(const std::vector<KeyView> &keys)
{
    QJsonObject object;
    for (const KeyView &each : keys)
        object.insert(each.key, each.nodeDef);
    return object;
}

QJsonObject ImplementationJson::ofFilter(const FilterView &filter)
{
    return {
            {u"name"_s, filter.name},
            {u"key"_s, filter.key},
            {u"kind"_s, filter.isDynamic() ? u"dynamic"_s : u"static"_s},
            {u"id"_s, idOf(filter.reference)},
            {u"hidden"_s, filter.isHidden},
            {u"implementations"_s, ofImplementations(filter.implementations)},
            {u"replaced"_s, ofImplementations(filter.replaced)},
            {u"types"_s, ofKeys(filter.types())},
            {u"usages"_s, ofKeys(filter.usages())},
            {u"parameters"_s, mergedParametersOf(filter)},
            {u"uidTables"_s, QJsonObject{{u"types"_s, uidTablesOf(filter.types())},
                                         {u"usages"_s, uidTablesOf(filter.usages())}}},
    };
}

} // namespace Tesk::Command
