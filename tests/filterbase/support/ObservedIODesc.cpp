#include "ObservedIODesc.h"

#include <data/ClassRegistry.h>

#include <QMetaType>

namespace FilterBaseTesting {

using namespace Tesk;

void ObservedIODesc::registerClass()
{
    Data::ClassRegistry::setCurrentVersion(QString::fromLatin1(staticMetaObject.className()), 1);
    QMetaType::fromType<ObservedIODesc>().id();
}

ObservedIODesc::ObservedIODesc(Data::SerializableData *parent)
    : RenderableBase::RenderableIODesc(parent)
{}

void ObservedIODesc::modelHasChanged(const Data::FieldEvent &event)
{
    RenderableBase::RenderableIODesc::modelHasChanged(event);
    if (event.fieldName != parameters.name())
        return;
    events().emplace_back(static_cast<int>(event.phase), event.index);
    sizes().push_back(parameters.size());
    if (readOnlyFrom() != 0 && events().size() >= readOnlyFrom())
        parameters.throwReadOnlyError();
}

ObservedIODesc::Events &ObservedIODesc::events()
{
    static Events sEvents;
    return sEvents;
}

std::vector<qsizetype> &ObservedIODesc::sizes()
{
    static std::vector<qsizetype> sSizes;
    return sSizes;
}

std::size_t &ObservedIODesc::readOnlyFrom()
{
    static std::size_t sReadOnlyFrom = 0;
    return sReadOnlyFrom;
}

UncopyableIODesc::UncopyableIODesc(int)
    : RenderableBase::RenderableIODesc(nullptr)
{}

} // namespace FilterBaseTesting
