#pragma once

#include <vantbase/vantbase_export.h>

#include <vantbase/Ownership.h>
#include <vantbase/QObjectDeleteLater.h>

#include <concepts>
#include <memory>

namespace Tesk {

template<class T>
class SharedObject;

/// Shows that an object is made by a factory that will share it; see SharedObject::badge().
class SharedObjectBadge
{
public:
    SharedObjectBadge(const SharedObjectBadge &) = delete;
    SharedObjectBadge &operator=(const SharedObjectBadge &) = delete;

private:
    SharedObjectBadge() = default;

    template<class T>
    friend class SharedObject;
};

/// What a factory hands out before the class is known; cast it with dynamic_pointer_cast.
class VANTBASE_EXPORT SharedObjectBase
{
public:
    SharedObjectBase(const SharedObjectBase &) = delete;
    SharedObjectBase &operator=(const SharedObjectBase &) = delete;
    virtual ~SharedObjectBase();

protected:
    SharedObjectBase() = default;
};

/// Base of a QObject class \a T whose objects are always shared and can share themselves.
///
/// Ownership: by the pointers that come from adopt(); the last one lets the object die in the
/// event loop of its thread. Between the two the object exists but can be shared no more.
/// Threads: adopt() before the object is published; sharedFromThis() on any thread.
template<class T>
class SharedObject : public SharedObjectBase
{
public:
    /// For factories: what a constructor of a shared class asks for.
    static SharedObjectBadge badge() { return {}; }

    /// Makes \a object shared; to be called once, right after its construction.
    ///
    /// Marks it with VantBase::forbidStealingOwnership().
    template<std::derived_from<T> Derived>
    static std::shared_ptr<Derived> adopt(Derived *object)
    {
        std::shared_ptr<Derived> owner(object, QObjectDeleteLater());
        static_cast<SharedObject *>(object)->m_self = owner;
        VantBase::forbidStealingOwnership(object);
        return owner;
    }

    /// Returns another owner of this object; null before adopt() and after the last owner.
    std::shared_ptr<T> sharedFromThis() const { return m_self.lock(); }

protected:
    SharedObject() = default;
    ~SharedObject() override = default;

private:
    std::weak_ptr<T> m_self;
};

} // namespace Tesk
