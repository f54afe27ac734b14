// Objects that live as long as somebody holds a reference, for boost::intrusive_ptr.

#pragma once

#include <atomic>
#include <cstdint>

namespace kelcore::utility {

class RefCountedInterface {
public:
    /// [any thread, real-time]
    virtual void AddRefCount() const noexcept = 0;
    /// Destroys the object with the last reference. [any thread]
    virtual void ReleaseRefCount() const noexcept = 0;

protected:
    virtual ~RefCountedInterface() = default;
};

/// The count starts at 0: whoever makes the object takes the first reference.
class RefCountedObject : public virtual RefCountedInterface {
public:
    RefCountedObject() noexcept = default;
    RefCountedObject(const RefCountedObject&) = delete;
    RefCountedObject& operator=(const RefCountedObject&) = delete;

    void AddRefCount() const noexcept override;
    void ReleaseRefCount() const noexcept override;

protected:
    ~RefCountedObject() override = default;

private:
    // While the destructor runs the count stands far above 0, so that a reference taken and
    // given back in the meantime does not destroy the object a second time.
    mutable std::atomic<std::int32_t> mRefCount{0};
};

inline void intrusive_ptr_add_ref(const RefCountedInterface* object) noexcept
{
    object->AddRefCount();
}
inline void intrusive_ptr_release(const RefCountedInterface* object) noexcept
{
    object->ReleaseRefCount();
}

} // namespace kelcore::utility
