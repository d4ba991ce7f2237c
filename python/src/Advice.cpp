// The adviser: which members carry a field to a given plane.
#include "Bind.h"

#include "LmlAdvice.h"

#include <string>

namespace LumoraLib::python
{
namespace
{
void DefineParts(py::module_& m)
{
    py::class_<AdviceGeometry> geometry(m, "AdviceGeometry", "A destination's place and grid, without samples.");
    geometry.def(py::init([](std::int32_t nx, std::int32_t ny, double px, double py_, const Vector& origin,
                             const Vector& normal) { return AdviceGeometry{nx, ny, px, py_, origin, normal}; }),
                 py::arg("nx"), py::arg("ny"), py::arg("px"), py::arg("py"), py::arg("origin"),
                 py::arg("normal") = Vector(0.0, 0.0, 1.0));
    py::class_<AdviceStep> step(m, "AdviceStep", "One step of a way, in the frame of the source's plane.");
    step.def_readonly("member", &AdviceStep::member).def_readonly("distance", &AdviceStep::distance);
    step.def_readonly("shift_x", &AdviceStep::shiftX).def_readonly("shift_y", &AdviceStep::shiftY);
    step.def_readonly("doublings", &AdviceStep::doublings).def_readonly("nx", &AdviceStep::nx);
    step.def_readonly("ny", &AdviceStep::ny).def_readonly("px", &AdviceStep::px).def_readonly("py", &AdviceStep::py);
    step.def("__str__", [](const AdviceStep& s) { return s.text; });
    py::class_<AdviceMember> way(m, "AdviceMember", "One way to the destination.");
    way.def_readonly("member", &AdviceMember::member).def_readonly("name", &AdviceMember::name);
    way.def_readonly("steps", &AdviceMember::steps, "The plan; empty where the way cannot be gone at all.");
    way.def_readonly("fits", &AdviceMember::fits, "The prediction is within the tolerance.");
    way.def_readonly("borderline", &AdviceMember::borderline,
                     "Within a factor of 1.5 of the tolerance: may be either.");
    way.def_readonly("error", &AdviceMember::error,
                     "Predicted relative l2 error; negative where it was not predicted.");
    way.def_readonly("bytes", &AdviceMember::bytes, "Working memory beside source and destination.");
    way.def_readonly("seconds", &AdviceMember::seconds, "Expected time of one thread.");
    way.def_readonly("reasons", &AdviceMember::reasons, "Why it fits or not.");
    way.def("__repr__", [](const AdviceMember& w)
            { return py::str("<{} {} error={:.3g}>").format(w.name, w.fits ? "fits" : "does not fit", w.error); });
}

void DefineFigures(py::module_& m)
{
    using F = AdviceFigures;
    py::class_<F> c(
        m, "AdviceFigures",
        "The light and the geometry in figures: metres, radians, cycles per metre, shares of energy from 0 to 1.");
    const std::pair<const char*, double F::*> figures[] = {{"distance", &F::distance},
                                                           {"shift_x", &F::shiftX},
                                                           {"shift_y", &F::shiftY},
                                                           {"tilt", &F::tilt},
                                                           {"band_x", &F::bandX},
                                                           {"band_y", &F::bandY},
                                                           {"light_low_x", &F::lightLowX},
                                                           {"light_high_x", &F::lightHighX},
                                                           {"light_low_y", &F::lightLowY},
                                                           {"light_high_y", &F::lightHighY},
                                                           {"extent_low_x", &F::extentLowX},
                                                           {"extent_high_x", &F::extentHighX},
                                                           {"extent_low_y", &F::extentLowY},
                                                           {"extent_high_y", &F::extentHighY},
                                                           {"evanescent", &F::evanescent},
                                                           {"leaves", &F::leaves},
                                                           {"cut", &F::cut},
                                                           {"wraps", &F::wraps},
                                                           {"waves", &F::waves},
                                                           {"fresnel_phase", &F::fresnelPhase},
                                                           {"rounded_phase", &F::roundedPhase},
                                                           {"repetition", &F::repetition}};
    for (const auto& [name, member] : figures)
        c.def_readonly(name, member);
}

void DefineAdvices(py::module_& m)
{
    py::class_<Advice> advice(m, "Advice", "What advise() finds; str() of it is the whole advice as text.");
    advice.def_readonly("figures", &Advice::figures);
    advice.def_readonly("ways", &Advice::ways, "Single members first, then ways of several steps.");
    advice.def_readonly("remedies", &Advice::remedies, "What to change; also what would make a cheaper way fit.");
    advice.def_property_readonly(
        "taken", [](const Advice& a) { return a.Taken() == nullptr ? py::object(py::none()) : py::cast(*a.Taken()); },
        "The way that propagate_to() takes; None: none fits.");
    advice.def("__str__", [](const Advice& a) { return ToText(a); });
    py::class_<AdviceResult> result(m, "AdviceResult", "What propagate_to() did.");
    result.def_readonly("advice", &AdviceResult::advice);
    result.def_property_readonly(
        "way", [](const AdviceResult& r) { return r.Way(); }, "The way gone.");
    result.def_readonly("seconds", &AdviceResult::seconds, "That the way took.");
    result.def_readonly("done", &AdviceResult::done, "The steps as texts.");
}

constexpr char kOptionsText[] =
    "tolerance : float\n    Relative l2 error that a way may have, 1e-4 to 0.5.\n"
    "amplitudes_only : bool\n    Phases on the destination do not matter.\n"
    "steps : bool\n    Ways of several steps may be taken.\n"
    "max_bytes : float\n    Working memory that a way may take; 0: any.\n"
    "best_effort : bool\n    Take the way of the smallest predicted error where none is within the tolerance.\n\n";
} // namespace

void DefineAdvice(py::module_& m)
{
    DefineParts(m);
    DefineFigures(m);
    DefineAdvices(m);
    const auto withOptions = [](auto define)
    {
        define(py::kw_only(), py::arg("tolerance") = 0.02, py::arg("amplitudes_only") = false, py::arg("steps") = true,
               py::arg("max_bytes") = 0.0, py::arg("best_effort") = false);
    };
    const std::string options(kOptionsText);
    withOptions(
        [&](const auto&... extra)
        {
            m.def(
                "advise",
                [](Field& source, Field& destination, double tolerance, bool amplitudes, bool steps, double bytes,
                   bool best)
                {
                    return Run<Advice>(
                        0, std::array<Field*, 2>{&source, &destination},
                        [&] {
                            return Advise(source.Get(), destination.Get(), {tolerance, amplitudes, steps, bytes, best});
                        });
                },
                ("advise(source, destination, *, tolerance=0.02, amplitudes_only=False, steps=True, max_bytes=0.0, "
                 "best_effort=False)\n\n"
                 "Which members carry `source` to the destination, how well and at what cost, and what to change where "
                 "none does.\n\n"
                 "Parameters\n----------\nsource : Field\n    In real space; one without samples stands for diffuse "
                 "light.\n"
                 "destination : Field | AdviceGeometry\n    Its sizes, pitches and place count.\n" +
                 options + "Returns\n-------\nAdvice")
                    .c_str(),
                py::arg("source"), py::arg("destination"), extra...);
            m.def(
                "advise",
                [](Field& source, const AdviceGeometry& destination, double tolerance, bool amplitudes, bool steps,
                   double bytes, bool best)
                {
                    return Run<Advice>(
                        0, std::array<Field*, 1>{&source},
                        [&] {
                            return Advise(source.Get(), destination, {tolerance, amplitudes, steps, bytes, best});
                        });
                },
                "", py::arg("source"), py::arg("destination"), extra...);
            m.def(
                "propagate_to",
                [](Field& destination, Field& source, double tolerance, bool amplitudes, bool steps, double bytes,
                   bool best)
                {
                    return Run<AdviceResult>(kResizes, std::array<Field*, 2>{&destination, &source},
                                             [&] {
                                                 return PropagateTo(destination.Get(), source.Get(),
                                                                    {tolerance, amplitudes, steps, bytes, best});
                                             });
                },
                ("propagate_to(destination, source, *, tolerance=0.02, amplitudes_only=False, steps=True, "
                 "max_bytes=0.0, best_effort=False)\n\n"
                 "The samples of `destination` become the field of `source` there, by the way that advise() finds.\n\n"
                 "Parameters\n----------\ndestination : Field\n    Keeps its place, pitches and window.\n"
                 "source : Field\n    In real space; it is only read.\n" +
                 options +
                 "Returns\n-------\nAdviceResult\n\nRaises\n------\nLumoraError\n    Where no way is within the "
                 "tolerance, with the first remedy.")
                    .c_str(),
                py::arg("destination"), py::arg("source"), extra...);
        });
    m.def(
        "follow_advice",
        [](Field& destination, Field& source, const AdviceMember& way)
        {
            Run<void>(kResizes, std::array<Field*, 2>{&destination, &source},
                      [&] { FollowAdvice(destination.Get(), source.Get(), way); });
        },
        py::arg("destination"), py::arg("source"), py::arg("way"),
        "follow_advice(destination, source, way)\n\nGoes one way of an advice.\n\nParameters\n----------\n"
        "destination : Field\n    Keeps its place, pitches and window.\nsource : Field\n    It is only read.\nway : "
        "AdviceMember\n    Of advise().");
}
} // namespace LumoraLib::python
