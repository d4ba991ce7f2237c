// One thread for reading and writing beside the arithmetic, and a sweep over blocks with two buffers of each kind.
#include "large/IoThread.h"

#include <system_error>

namespace LumoraLib::detail
{
IoThread::IoThread()
{
    try
    {
        thread_ = std::thread([this] { Run(); });
    }
    catch (const std::system_error&)
    {
    }
}

IoThread::~IoThread()
{
    Wait();
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ends_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void IoThread::Submit(Call call, const void* context)
{
    if (!thread_.joinable())
        return call(context);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        call_ = call;
        context_ = context;
    }
    changed_.notify_all();
}

void IoThread::Wait()
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return call_ == nullptr; });
}

void IoThread::Run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;)
    {
        changed_.wait(lock, [this] { return call_ != nullptr || ends_; });
        if (call_ == nullptr)
            return;
        lock.unlock();
        call_(context_);
        lock.lock();
        call_ = nullptr;
        changed_.notify_all();
    }
}
} // namespace LumoraLib::detail
