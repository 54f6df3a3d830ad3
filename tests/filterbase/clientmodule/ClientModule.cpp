#include "ClientModule.h"

#include "Constants.h"
#include "ExceptionTypes.h"

namespace ClientModule {

using namespace Tesk::Exception;

std::vector<const std::type_info *> exceptionTypes()
{
    return FilterBaseTesting::exceptionTypesHere();
}

void throwUnloaded(const char *message)
{
    throw FilterBase::UnloadedException(message);
}

void throwUnresolved(const char *message)
{
    throw FilterBase::UnresolvedFilterException(message);
}

void throwNotFound(const char *message)
{
    throw Data::NotFoundException(message);
}

const char *caughtAs(const std::function<void()> &raise)
{
    try {
        raise();
    } catch (const FilterBase::UnloadedException &) {
        return "UnloadedException";
    } catch (const FilterBase::FilterException &) {
        return "FilterException";
    } catch (const Data::NotFoundException &) {
        return "NotFoundException";
    } catch (const Data::SerializationException &) {
        return "SerializationException";
    } catch (const BaseException &) {
        return "BaseException";
    }
    return "nothing";
}

std::vector<const void *> constants()
{
    return FilterBaseTesting::constantsHere();
}

} // namespace ClientModule
