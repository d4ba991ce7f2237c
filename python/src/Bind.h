// How functions of the library become functions of Python: the lock, the GIL, arguments and results.
#ifndef LUMORA_PYTHON_BIND_H
#define LUMORA_PYTHON_BIND_H

#include "Casters.h"
#include "Field.h"

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace LumoraLib::python
{
/// How a function is called.
enum : unsigned
{
    kQuick = 1,   ///< with the GIL held
    kSample = 2,  ///< its first two arguments are a column and a row of the field
    kResizes = 4, ///< the first field may change its size
};

/// One call of the library. The library is used by one thread at a time: a second one waits here, with the GIL free. A
/// handler of the running operation may call operations on fields that take no part in it; others are refused.
class Running
{
public:
    template <std::size_t N>
    Running(unsigned how, const std::array<Field*, N>& fields) : Running(how, fields.data(), N)
    {
    }
    explicit Running(unsigned how) : Running(how, nullptr, 0) {}
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    /// Behind a call that has come back: its reports of likely mistakes become warnings, and a warning may be an error.
    void Finish();

private:
    Running(unsigned how, Field* const* fields, std::size_t count);
    void Close() noexcept;

    unsigned how_;
    std::array<Field*, 4> fields_{};
    std::size_t count_;
    PyThreadState* saved_ = nullptr;
};

/// For a forked process: no thread holds the lock, and the loops of the library have no team.
void AfterFork();
/// Who is told of the progress of long operations; None for nobody.
void SetProgress(py::object handler, py::object end);

void CheckIndex(const Lumora& field, int i, int j);

// What a parameter is in Python, and what the library gets of it.
template <class T>
struct In
{
    using Type = T;
    static T Pass(Type value) { return static_cast<T>(value); }
    static Field* FieldOf(const Type&) { return nullptr; }
};
template <class T>
struct FieldIn
{
    using Type = Field&;
    static T Pass(Field& field) { return field.Get(); }
    static Field* FieldOf(Field& field) { return &field; }
};
template <>
struct In<Lumora&> : FieldIn<Lumora&>
{
};
template <>
struct In<const Lumora&> : FieldIn<const Lumora&>
{
};
template <>
struct In<const char*>
{
    using Type = const Path&;
    static const char* Pass(const Path& path) { return path.text.c_str(); }
    static Field* FieldOf(const Path&) { return nullptr; }
};

/// What comes back: references to values as copies.
template <class R>
using Out =
    std::conditional_t<std::is_same_v<R, const char*>, const char*, std::remove_cv_t<std::remove_reference_t<R>>>;

template <class First, class Second, class... Rest>
void CheckFirst(const Lumora& field, const First& i, const Second& j, const Rest&...)
{
    if constexpr (std::is_same_v<First, int> && std::is_same_v<Second, int>)
        CheckIndex(field, i, j);
}

/// Calls `call` as one call of the library and gives back what it gives back.
template <class R, std::size_t N, class Call>
Out<R> Run(unsigned how, const std::array<Field*, N>& fields, Call&& call)
{
    Running running(how, fields);
    if constexpr (std::is_void_v<R>)
    {
        call();
        running.Finish();
    }
    else
    {
        Out<R> result = call();
        running.Finish();
        return result;
    }
}

/// A member of Field. One that gives its object back gives back the same Python object.
template <class R, class... A, class Function, class... Extra>
void MemberBy(py::class_<Field>& c, const char* name, unsigned how, Function function, const char* doc,
              const Extra&... extra)
{
    const auto call = [function, how](Field& self, typename In<A>::Type... args) -> decltype(auto)
    {
        const std::array<Field*, sizeof...(A) + 1> fields{&self, In<A>::FieldOf(args)...};
        if constexpr (sizeof...(A) >= 2)
            if ((how & kSample) != 0)
                CheckFirst(self.Get(), args...);
        if constexpr (std::is_same_v<R, Lumora&>)
        {
            Run<void>(how, fields, [&] { static_cast<void>(function(self.Get(), In<A>::Pass(args)...)); });
            return static_cast<Field&>(self);
        }
        else
            return Run<R>(how, fields, [&]() -> R { return function(self.Get(), In<A>::Pass(args)...); });
    };
    c.def(name, call, py::return_value_policy::reference, doc, extra...);
}

template <class R, class... A, class... Extra>
void Member(py::class_<Field>& c, const char* name, unsigned how, R (Lumora::*f)(A...), const char* doc,
            const Extra&... extra)
{
    MemberBy<R, A...>(
        c, name, how, [f](Lumora& l, A... a) -> R { return (l.*f)(std::forward<A>(a)...); }, doc, extra...);
}
template <class R, class... A, class... Extra>
void Member(py::class_<Field>& c, const char* name, unsigned how, R (Lumora::*f)(A...) const, const char* doc,
            const Extra&... extra)
{
    MemberBy<R, A...>(
        c, name, how, [f](Lumora& l, A... a) -> R { return (l.*f)(std::forward<A>(a)...); }, doc, extra...);
}
template <class R, class L, class... A, class... Extra>
void Member(py::class_<Field>& c, const char* name, unsigned how, R (*f)(L&, A...), const char* doc,
            const Extra&... extra)
{
    MemberBy<R, A...>(
        c, name, how, [f](Lumora& l, A... a) -> R { return f(l, std::forward<A>(a)...); }, doc, extra...);
}

template <class R, class... A>
auto FreeCall(unsigned how, R (*f)(A...))
{
    return [f, how](typename In<A>::Type... args) -> Out<R>
    {
        const std::array<Field*, sizeof...(A)> fields{In<A>::FieldOf(args)...};
        return Run<R>(how, fields, [&]() -> R { return f(In<A>::Pass(args)...); });
    };
}
template <class R, class... A, class... Extra>
void Static(py::class_<Field>& c, const char* name, R (*f)(A...), const char* doc, const Extra&... extra)
{
    c.def_static(name, FreeCall(kQuick, f), doc, extra...);
}
template <class R, class... A, class... Extra>
void Free(py::module_& m, const char* name, unsigned how, R (*f)(A...), const char* doc, const Extra&... extra)
{
    m.def(name, FreeCall(how, f), doc, extra...);
}

// Classes of values: their members are short and run under the lock, the GIL held.
template <class T>
struct ClassOf
{
    using Type = py::class_<T>;
};
template <>
struct ClassOf<RMatrix>
{
    using Type = py::class_<RMatrix, SqrMatrix>;
};
template <>
struct ClassOf<Line>
{
    using Type = py::class_<Line, PointArray>;
};
template <>
struct ClassOf<LineSegment>
{
    using Type = py::class_<LineSegment, PointArray>;
};
template <>
struct ClassOf<Plane>
{
    using Type = py::class_<Plane, PointArray>;
};
template <>
struct ClassOf<ShiftedFresnelPropDescriptor>
{
    using Type = py::class_<ShiftedFresnelPropDescriptor, ScaledFftDescriptor>;
};
template <class T>
using Class = typename ClassOf<T>::Type;

template <class C, class R, class T, class... A, class Function, class... Extra>
void ValueBy(C& c, const char* name, Function function, const char* doc, const Extra&... extra)
{
    constexpr bool chained = std::is_same_v<R, T&>;
    using Result = std::conditional_t<chained, T&, Out<R>>;
    c.def(
        name,
        [function](T& self, typename In<A>::Type... args) -> Result
        {
            const std::array<Field*, sizeof...(A)> fields{In<A>::FieldOf(args)...};
            Running running(kQuick, fields);
            return function(self, In<A>::Pass(args)...);
        },
        chained ? py::return_value_policy::reference : py::return_value_policy::move, doc, extra...);
}
template <class C, class R, class T, class... A, class... Extra>
void Value(C& c, const char* name, R (T::*f)(A...), const char* doc, const Extra&... extra)
{
    ValueBy<C, R, T, A...>(
        c, name, [f](T& t, A... a) -> R { return (t.*f)(std::forward<A>(a)...); }, doc, extra...);
}
template <class C, class R, class T, class... A, class... Extra>
void Value(C& c, const char* name, R (T::*f)(A...) const, const char* doc, const Extra&... extra)
{
    ValueBy<C, R, T, A...>(
        c, name, [f](T& t, A... a) -> R { return (t.*f)(std::forward<A>(a)...); }, doc, extra...);
}

// Written by generate.py, and by hand where the name says nothing else.
void BindField0(py::class_<Field>& c);
void BindField1(py::class_<Field>& c);
void BindField2(py::class_<Field>& c);
void BindField3(py::class_<Field>& c);
void BindField4(py::class_<Field>& c);
void BindField5(py::class_<Field>& c);
void BindVector(Class<Vector>& c);
void BindSFrequency(Class<SFrequency>& c);
void BindSqrMatrix(Class<SqrMatrix>& c);
void BindRMatrix(Class<RMatrix>& c);
void BindPointArray(Class<PointArray>& c);
void BindLine(Class<Line>& c);
void BindLineSegment(Class<LineSegment>& c);
void BindPlane(Class<Plane>& c);
void BindStopWatch(Class<StopWatch>& c);
void BindScaledFftDescriptor(Class<ScaledFftDescriptor>& c);
void BindShiftedFresnelPropDescriptor(Class<ShiftedFresnelPropDescriptor>& c);
void BindSphericalWaveDescriptor(Class<SphericalWaveDescriptor>& c);
void BindTrigTable(Class<TrigTable>& c);
void BindFree(py::module_& m);
void DefineErrors(py::module_& m);
void DefineEnums(py::module_& m);
void DefineValues(py::module_& m);
void DefineField(py::module_& m, py::class_<Field>& c);
void DefinePoints(py::module_& m, py::class_<Field>& c);
void DefineLarge(py::module_& m);
void DefineAdvice(py::module_& m);
void DefinePictures(py::module_& m);
void DefineRetrieval(py::module_& m, py::class_<Field>& c);
} // namespace LumoraLib::python

#endif
