// -*- c++ -*-
// Callback objects: XorpCallback<R, Late...> with dispatch(Late...), and the
// callback() factories for free functions and member functions. Bound
// arguments are the trailing parameters of the target, stored by value; the
// late (dispatch-time) arguments are the leading ones.
#ifndef LIBXORP_CALLBACK_HH
#define LIBXORP_CALLBACK_HH

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "libxorp/ref_ptr.hh"

template <class R, class... L>
struct XorpCallback {
    typedef ref_ptr<XorpCallback> RefPtr;
    virtual ~XorpCallback() = default;
    virtual R dispatch(L...) = 0;
};

template <class R>
using XorpCallback0 = XorpCallback<R>;
template <class R, class A1>
using XorpCallback1 = XorpCallback<R, A1>;
template <class R, class A1, class A2>
using XorpCallback2 = XorpCallback<R, A1, A2>;
template <class R, class A1, class A2, class A3>
using XorpCallback3 = XorpCallback<R, A1, A2, A3>;
template <class R, class A1, class A2, class A3, class A4>
using XorpCallback4 = XorpCallback<R, A1, A2, A3, A4>;
template <class R, class A1, class A2, class A3, class A4, class A5>
using XorpCallback5 = XorpCallback<R, A1, A2, A3, A4, A5>;
template <class R, class A1, class A2, class A3, class A4, class A5, class A6>
using XorpCallback6 = XorpCallback<R, A1, A2, A3, A4, A5, A6>;

namespace xorp_callback_detail {

template <class... T>
struct Types {};

// Splits the parameter list P of a target into late and bound parts.
template <class R, class Params, class Bound>
struct Split;

template <class R, class... P, class... B>
struct Split<R, std::tuple<P...>, Types<B...>> {
    static constexpr size_t kLate = sizeof...(P) - sizeof...(B);
    static_assert(sizeof...(B) <= sizeof...(P),
                  "callback(): more bound arguments than the target takes");

    template <class Seq>
    struct LateOf;
    template <size_t... I>
    struct LateOf<std::index_sequence<I...>> {
        typedef Types<std::tuple_element_t<I, std::tuple<P...>>...> types;
        typedef XorpCallback<R, std::tuple_element_t<I, std::tuple<P...>>...> base;
    };
    template <class Seq>
    struct BoundOf;
    template <size_t... I>
    struct BoundOf<std::index_sequence<I...>> {
        typedef std::tuple<std::tuple_element_t<kLate + I, std::tuple<P...>>...> type;
    };

    typedef typename LateOf<std::make_index_sequence<kLate>>::types late;
    typedef typename LateOf<std::make_index_sequence<kLate>>::base base;
    // As in XORP, each bound argument must have exactly the parameter's type.
    static_assert(std::is_same<typename BoundOf<std::index_sequence_for<B...>>::type,
                               std::tuple<B...>>::value,
                  "callback(): bound arguments must have exactly the types of the "
                  "target's trailing parameters (pass values, not literals of another type)");
};

template <class M>
struct MemberTraits;
template <class R, class C, class... P>
struct MemberTraits<R (C::*)(P...)> {
    typedef R result;
    typedef C object;
    typedef std::tuple<P...> params;
};
template <class R, class C, class... P>
struct MemberTraits<R (C::*)(P...) const> {
    typedef R result;
    typedef const C object;
    typedef std::tuple<P...> params;
};

template <class Base, class Late, class O, class M, class... B>
class MemberCallback;

template <class R, class... L, class... LL, class O, class M, class... B>
class MemberCallback<XorpCallback<R, L...>, Types<LL...>, O, M, B...>
    : public XorpCallback<R, L...> {
public:
    MemberCallback(O* o, M m, B... b) : _o(o), _m(m), _b(std::move(b)...) {}
    R dispatch(L... l) override {
        return call(std::index_sequence_for<B...>(), std::forward<L>(l)...);
    }

private:
    template <size_t... I>
    R call(std::index_sequence<I...>, L... l) {
        return (_o->*_m)(std::forward<L>(l)..., std::get<I>(_b)...);
    }
    O* _o;
    M _m;
    std::tuple<B...> _b;
};

template <class Base, class F, class... B>
class FunctionCallback;

template <class R, class... L, class F, class... B>
class FunctionCallback<XorpCallback<R, L...>, F, B...> : public XorpCallback<R, L...> {
public:
    FunctionCallback(F f, B... b) : _f(f), _b(std::move(b)...) {}
    R dispatch(L... l) override {
        return call(std::index_sequence_for<B...>(), std::forward<L>(l)...);
    }

private:
    template <size_t... I>
    R call(std::index_sequence<I...>, L... l) {
        return _f(std::forward<L>(l)..., std::get<I>(_b)...);
    }
    F _f;
    std::tuple<B...> _b;
};

template <class O, class M, class... B>
struct MemberFactory {
    typedef MemberTraits<M> traits;
    typedef Split<typename traits::result, typename traits::params, Types<B...>> split;
    typedef typename split::base base;
    typedef MemberCallback<base, typename split::late, O, M, B...> impl;
    static_assert(std::is_convertible<O*, typename traits::object*>::value,
                  "callback(): object does not fit the member function "
                  "(a const member needs a const object and vice versa)");
};

}  // namespace xorp_callback_detail

// Member function through a pointer: callback(this, &C::m, bound...).
template <class O, class M, class... B,
          class = std::enable_if_t<std::is_member_function_pointer<M>::value>>
typename xorp_callback_detail::MemberFactory<O, M, B...>::base::RefPtr
callback(O* o, M m, B... b)
{
    typedef typename xorp_callback_detail::MemberFactory<O, M, B...>::impl Impl;
    return new Impl(o, m, std::move(b)...);
}

// Member function through a reference: callback(obj, &C::m, bound...).
template <class O, class M, class... B,
          class = std::enable_if_t<std::is_member_function_pointer<M>::value &&
                                   std::is_class<O>::value>>
typename xorp_callback_detail::MemberFactory<O, M, B...>::base::RefPtr
callback(O& o, M m, B... b)
{
    typedef typename xorp_callback_detail::MemberFactory<O, M, B...>::impl Impl;
    return new Impl(&o, m, std::move(b)...);
}

// Free (or static member) function: callback(&f, bound...).
template <class R, class... P, class... B>
typename xorp_callback_detail::Split<R, std::tuple<P...>,
                                     xorp_callback_detail::Types<B...>>::base::RefPtr
callback(R (*f)(P...), B... b)
{
    typedef typename xorp_callback_detail::Split<
        R, std::tuple<P...>, xorp_callback_detail::Types<B...>>::base Base;
    typedef xorp_callback_detail::FunctionCallback<Base, R (*)(P...), B...> Impl;
    return new Impl(f, std::move(b)...);
}

#endif  // LIBXORP_CALLBACK_HH
