// -*- c++ -*-
// ref_ptr<T>: shared ownership pointer with XORP's interface.
#ifndef LIBXORP_REF_PTR_HH
#define LIBXORP_REF_PTR_HH

#include <cstddef>
#include <memory>
#include <type_traits>

template <class T>
class ref_ptr {
public:
    ref_ptr() = default;
    // Takes ownership of p (implicit, as in XORP: `RefPtr cb = new Cb(...)`).
    ref_ptr(T* p) : _p(p) {}
    ref_ptr(std::nullptr_t) {}
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    ref_ptr(const ref_ptr<U>& o) : _p(o.shared()) {}

    T* operator->() const { return _p.get(); }
    T& operator*() const { return *_p; }
    T* get() const { return _p.get(); }
    bool is_empty() const { return !_p; }
    bool is_only() const { return _p.use_count() == 1; }
    long ref_count() const { return _p.use_count(); }
    explicit operator bool() const { return static_cast<bool>(_p); }

    // Drops this reference; true when the object went with it.
    bool release() {
        bool last = is_only();
        _p.reset();
        return last;
    }
    void reset() { _p.reset(); }

    template <class U>
    bool operator==(const ref_ptr<U>& o) const { return get() == o.get(); }
    template <class U>
    bool operator!=(const ref_ptr<U>& o) const { return get() != o.get(); }
    bool operator<(const ref_ptr& o) const { return get() < o.get(); }

    const std::shared_ptr<T>& shared() const { return _p; }

private:
    std::shared_ptr<T> _p;
};

#endif  // LIBXORP_REF_PTR_HH
