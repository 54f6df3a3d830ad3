#pragma once

#include <filterbase/FilterException.h>

#include <typeinfo>
#include <vector>

namespace FilterBaseTesting {

/// The exported exceptions' type_info objects as the including shared object links them.
inline std::vector<const std::type_info *> exceptionTypesHere()
{
    using namespace Tesk::Exception;
    using Filter = FilterBase::FilterException;
    return {
            &typeid(Filter),
            &typeid(Exception<0, Filter>),
            &typeid(Exception<1, Filter>),
            &typeid(FilterBase::UnresolvedFilterException),
            &typeid(FilterBase::UnloadedException),
            &typeid(BaseException),
            &typeid(ParameterException),
            &typeid(Exception<1, ParameterException>),
            &typeid(InvalidArgumentException),
            &typeid(InternalException),
            &typeid(Exception<0, InternalException>),
            &typeid(LogicErrorException),
            &typeid(Exception<1, InternalException>),
            &typeid(RuntimeErrorException),
            &typeid(Data::SerializationException),
            &typeid(Exception<3, Data::SerializationException>),
            &typeid(Data::NotFoundException),
            &typeid(ReadOnlyException),
    };
}

} // namespace FilterBaseTesting
