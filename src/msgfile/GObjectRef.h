#pragma once
// Owns one reference to a GObject (libgsf's inputs and infiles are GObjects)
// and drops it when it goes out of scope.

#include <glib-object.h>

#include <utility>

namespace Mapi {

template <class T> class GObjectRef {
public:
    GObjectRef() = default;
    /// Takes over a reference the caller already holds.
    explicit GObjectRef(T* object) : m_pObject(object) {}
    ~GObjectRef() { reset(); }
    GObjectRef(const GObjectRef&) = delete;
    GObjectRef& operator=(const GObjectRef&) = delete;
    GObjectRef(GObjectRef&& other) noexcept : m_pObject(std::exchange(other.m_pObject, nullptr)) {}
    GObjectRef& operator=(GObjectRef&& other) noexcept {
        if (this != &other) {
            reset();
            m_pObject = std::exchange(other.m_pObject, nullptr);
        }
        return *this;
    }

    void reset() {
        if (m_pObject != nullptr)
            g_object_unref(std::exchange(m_pObject, nullptr));
    }
    T* get() const { return m_pObject; }
    explicit operator bool() const { return m_pObject != nullptr; }

private:
    T* m_pObject = nullptr;
};

} // namespace Mapi
