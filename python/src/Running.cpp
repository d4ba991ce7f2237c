// One call of the library at a time: the lock, the GIL, the progress handler and the reports of likely mistakes.
#include "Bind.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace LumoraLib::python
{
namespace
{
/// The library's lock. Its owner may take it again: handlers run inside operations.
struct Lock
{
    std::mutex mutex;
    std::atomic<unsigned long> owner{0}; // identity of a thread of Python, 0 for none
    int depth = 0;                       // of the owner's calls
};
Lock lock;

PyObject* progressHandler = nullptr; // null for none
PyObject* progressEnd = nullptr;     // called behind an operation that has told its progress
bool progressTold = false;
std::vector<std::string> reports;

void TakeReport(const char* text)
{
    reports.emplace_back(text);
}

/// Runs without the GIL, inside an operation, on its thread. What Python throws here ends the operation.
bool TellProgress(void*, const char* operation, std::int64_t done, std::int64_t total)
{
    const py::gil_scoped_acquire gil;
    if (PyErr_CheckSignals() != 0) // Ctrl-C
        throw py::error_already_set();
    if (progressHandler == nullptr)
        return true;
    progressTold = true;
    const py::object answer = py::reinterpret_borrow<py::object>(progressHandler)(operation, done, total);
    return answer.ptr() != Py_False;
}

void Replace(PyObject*& place, const py::object& value)
{
    PyObject* const old = place;
    place = value.is_none() ? nullptr : value.inc_ref().ptr();
    Py_XDECREF(old);
}
} // namespace

Running::Running(unsigned how, Field* const* fields, std::size_t count) : how_(how), count_(0)
{
    const unsigned long self = PyThread_get_thread_ident();
    if (lock.owner.load(std::memory_order_relaxed) != self)
    {
        // Whoever holds the lock may be waiting for the GIL: never wait with it.
        if (!lock.mutex.try_lock())
        {
            const py::gil_scoped_release release;
            lock.mutex.lock();
        }
        lock.owner.store(self, std::memory_order_relaxed);
    }
    ++lock.depth;
    try
    {
        for (std::size_t n = 0; n < count; ++n)
        {
            if (fields[n] == nullptr)
                continue;
            if (lock.depth > 1 && fields[n]->busy > 0)
                Error(ERR_SOMETHING, "lumora", "the field takes part in the operation that is running");
            fields_[count_++] = fields[n];
        }
        if ((how & kResizes) != 0 && count > 0)
            fields_[0]->BeginResize();
    }
    catch (...)
    {
        count_ = 0;
        Close();
        throw;
    }
    for (std::size_t n = 0; n < count_; ++n)
        ++fields_[n]->busy;
    if ((how & kQuick) == 0)
        saved_ = PyEval_SaveThread();
}

Running::~Running()
{
    if (saved_ != nullptr)
        PyEval_RestoreThread(saved_);
    for (std::size_t n = 0; n < count_; ++n)
        --fields_[n]->busy;
    if ((how_ & kResizes) != 0 && count_ > 0)
        fields_[0]->EndResize();
    const bool told = lock.depth == 1 && progressTold && progressEnd != nullptr;
    if (told)
        progressTold = false;
    Close();
    if (!told)
        return;
    const py::error_scope error; // of an operation that has failed
    PyObject* const answer = PyObject_CallNoArgs(progressEnd);
    if (answer == nullptr)
        PyErr_WriteUnraisable(progressEnd);
    Py_XDECREF(answer);
}

void Running::Close() noexcept
{
    if (--lock.depth > 0)
        return;
    lock.owner.store(0, std::memory_order_relaxed);
    lock.mutex.unlock();
}

void Running::Finish()
{
    if (saved_ != nullptr)
    {
        PyEval_RestoreThread(saved_);
        saved_ = nullptr;
    }
    if (reports.empty() || lock.depth > 1)
        return;
    const std::vector<std::string> texts = std::exchange(reports, {});
    const py::object category = py::module_::import("lumora._errors").attr("LumoraWarning");
    for (const std::string& text : texts)
        if (PyErr_WarnEx(category.ptr(), text.c_str(), 1) != 0)
            throw py::error_already_set();
}

void AfterFork()
{
    new (&lock) Lock();
    progressTold = false;
    // The threads of the team are in the parent alone, and the OpenMP runtime would wait for them.
    SetNumThreads(1);
}

void SetProgress(py::object handler, py::object end)
{
    const Running running(kQuick);
    Replace(progressHandler, handler);
    Replace(progressEnd, end);
    SetProgressHandler(&TellProgress, nullptr);
    SetMistakeHandler(&TakeReport);
}

void CheckIndex(const Lumora& field, int i, int j)
{
    if (i < 0 || j < 0 || i >= field.GetNx() || j >= field.GetNy())
        throw py::index_error("sample (" + std::to_string(i) + ", " + std::to_string(j) + ") of a field of " +
                              std::to_string(field.GetNx()) + " by " + std::to_string(field.GetNy()));
}
} // namespace LumoraLib::python
