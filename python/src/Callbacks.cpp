// Operations that call functions of Python: phase retrieval, and stacks of planes.
#include "Bind.h"

#include <functional>
#include <memory>
#include <vector>

namespace LumoraLib::python
{
namespace
{
/// A function of Python on a field of the library, which is Python's as long as the function runs.
std::function<void(Lumora&)> OnField(const py::object& function)
{
    if (function.is_none())
        return nullptr;
    return [function = function.ptr()](Lumora& lumora)
    {
        const py::gil_scoped_acquire gil;
        const py::object held = py::cast(std::make_unique<Field>(std::move(lumora)));
        Field& field = held.cast<Field&>();
        const auto give = [&]
        {
            field.Detach(); // arrays that look at it keep the samples of now
            lumora = std::move(field.Get());
        };
        try
        {
            py::reinterpret_borrow<py::object>(function)(held);
        }
        catch (...)
        {
            give();
            throw;
        }
        give();
    };
}

using Distances = py::array_t<double, py::array::c_style | py::array::forcecast>;

void DefineStack(py::class_<Field>& c)
{
    c.def(
        "propagate_stack",
        [](Field& self, const Distances& distances, const py::function& each, StackPropagator propagator)
        {
            const StackPlane see = [function = each.ptr()](const Lumora& plane, std::size_t index)
            {
                const py::gil_scoped_acquire gil;
                const py::object answer =
                    py::reinterpret_borrow<py::object>(function)(std::make_unique<Field>(Lumora(plane)), index);
                return answer.ptr() != Py_False;
            };
            return Run<std::size_t>(0, std::array<Field*, 1>{&self},
                                    [&] {
                                        return self.Get().PropagateStack(distances.data(),
                                                                         static_cast<std::size_t>(distances.size()),
                                                                         see, propagator);
                                    });
        },
        py::arg("distances"), py::arg("each"), py::arg("propagator") = STACK_ASM,
        "propagate_stack(distances, each, propagator=ASM)\n\n"
        "The field at many distances along its normal, one transform to the spectrum and one back for each. This "
        "field\n"
        "does not change.\n\n"
        "Parameters\n----------\ndistances : array\n    Metres, of either sign, in any order.\n"
        "each : callable\n    Called as each(plane, index): the plane is a Field that may be kept. False ends the "
        "stack.\n"
        "propagator : StackPropagator | str | int\n    As asm_prop or as exact_asm_prop.\n\n"
        "Returns\n-------\nint\n    How many planes were seen.");
    c.def(
        "measure_stack",
        [](Field& self, const Distances& distances, FocusMeasure measure, StackPropagator propagator)
        {
            const auto values = Run<std::vector<double>>(
                0, std::array<Field*, 1>{&self},
                [&] {
                    return self.Get().MeasureStack(distances.data(), static_cast<std::size_t>(distances.size()),
                                                   measure, propagator);
                });
            return py::array_t<double>(static_cast<py::ssize_t>(values.size()), values.data());
        },
        py::arg("distances"), py::arg("measure") = FOCUS_VARIANCE, py::arg("propagator") = STACK_ASM,
        "measure_stack(distances, measure=VARIANCE, propagator=ASM)\n\n"
        "How sharp the picture in the window is at many distances; no plane is kept.\n\n"
        "Parameters\n----------\ndistances : array\n    Metres, of either sign, in any order.\n"
        "measure : FocusMeasure | str | int\n    How sharp a picture is; larger is sharper.\n"
        "propagator : StackPropagator | str | int\n    As asm_prop or as exact_asm_prop.\n\n"
        "Returns\n-------\narray of float64\n    A value for each distance.");
}
} // namespace

void DefineRetrieval(py::module_& m, py::class_<Field>& c)
{
    DefineStack(c);
    py::class_<PhaseRetrievalStep> step(m, "PhaseRetrievalStep", "How good the phases of an iteration are.");
    step.def_readonly("iteration", &PhaseRetrievalStep::iteration, "From 0.");
    step.def_readonly("error", &PhaseRetrievalStep::error, "Relative error of the amplitudes over the other plane.");
    step.def_readonly("lit_error", &PhaseRetrievalStep::litError, "The same over samples that are asked for.");
    step.def_readonly("efficiency", &PhaseRetrievalStep::efficiency, "Share of the energy on samples asked for.");
    c.def(
        "retrieve_phase",
        [](Field& self, Field& target, int iterations, bool weighted, double feedback, double distance,
           const py::object& forward, const py::object& back, const py::object& each)
        {
            PhaseRetrieval how;
            how.iterations = iterations;
            how.weighted = weighted;
            how.feedback = feedback;
            how.distance = distance;
            how.forward = OnField(forward);
            how.back = OnField(back);
            if (!each.is_none())
                how.each = [function = each.ptr()](const PhaseRetrievalStep& s)
                {
                    const py::gil_scoped_acquire gil;
                    const py::object answer = py::reinterpret_borrow<py::object>(function)(s);
                    return answer.ptr() != Py_False;
                };
            Run<void>(0, std::array<Field*, 2>{&self, &target}, [&] { self.Get().RetrievePhase(target.Get(), how); });
            return &self;
        },
        py::return_value_policy::reference, py::arg("target"), py::arg("iterations") = 50, py::arg("weighted") = false,
        py::arg("feedback") = 1.0, py::arg("distance") = 0.0, py::arg("forward") = py::none(),
        py::arg("back") = py::none(), py::arg("each") = py::none(),
        "retrieve_phase(target, iterations=50, weighted=False, feedback=1.0, distance=0.0, forward=None, back=None, "
        "each=None)\n\n"
        "Looks for phases with which this field, its amplitudes kept, has the amplitudes of target in another plane, "
        "by\n"
        "iterations from the phases that it has.\n\n"
        "Parameters\n----------\ntarget : Field\n    Its amplitudes are asked for.\niterations : int\n    How many.\n"
        "weighted : bool\n    Even out what is shown, at the cost of light.\nfeedback : float\n    Of the weighted "
        "form, 0 to 1.\n"
        "distance : float\n    Metres to the other plane, by asm_prop; 0 for the Fourier plane.\n"
        "forward, back : callable\n    Any other way there and back: each is given a field and changes it.\n"
        "each : callable\n    Given a PhaseRetrievalStep; False ends the work there.\n\n"
        "Returns\n-------\nField\n    This field: calls chain.");
}
} // namespace LumoraLib::python
