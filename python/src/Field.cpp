// The samples of fields between the library and numpy: who owns them, who looks at them, who may move them.
#include "Field.h"

#include "base/FieldAccess.h"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>
#include <utility>

namespace LumoraLib::python
{
namespace
{
constexpr std::size_t kLargestSize = std::size_t{1} << 30; // of one axis

py::array View(const std::shared_ptr<Block>& block, py::ssize_t ny, py::ssize_t nx)
{
    const py::capsule keeper(new std::shared_ptr<Block>(block),
                             [](void* held) { delete static_cast<std::shared_ptr<Block>*>(held); });
    constexpr py::ssize_t size = sizeof(Complex);
    return py::array(py::dtype::of<std::complex<float>>(), {ny, nx}, {nx * size, size}, block->samples, keeper);
}
} // namespace

Field::Field(Lumora&& lumora) : lumora_(std::make_unique<Lumora>(std::move(lumora))) {}

std::unique_ptr<Field> Field::OverArray(const py::array& array, double px, double py, double wavelength)
{
    auto field = std::make_unique<Field>(Lumora(0, 0, px, py, wavelength));
    auto block = std::make_shared<Block>();
    block->array = array;
    block->samples = static_cast<Complex*>(const_cast<void*>(array.data()));
    block->count = static_cast<std::size_t>(array.size());
    field->lumora_->SetNx(static_cast<std::int32_t>(array.shape(1))).SetNy(static_cast<std::int32_t>(array.shape(0)));
    field->lumora_ = field->On(block->samples, block->count);
    field->lumora_->SetWindowMax();
    field->block_ = std::move(block);
    return field;
}

/// The parameters of this field on a caller's buffer of `count` samples, a power of two.
std::unique_ptr<Lumora> Field::On(Complex* samples, std::size_t count) const
{
    auto lumora = std::make_unique<Lumora>(0, 0);
    const std::size_t nx = std::min(count, kLargestSize);
    lumora->SetNx(static_cast<std::int32_t>(nx)).SetNy(static_cast<std::int32_t>(count / nx)).Init(samples);
    // The sizes may have been set without Init: they stay as they are.
    lumora->CopyParam(*lumora_).SetNx(lumora_->GetNx()).SetNy(lumora_->GetNy());
    return lumora;
}

py::array Field::Samples()
{
    detail::FieldAccess::RequireSamples(*lumora_, "lumora.Field.samples");
    const py::ssize_t nx = lumora_->GetNx();
    const py::ssize_t ny = lumora_->GetNy();
    if (lumora_->N() == 0)
        return py::array(py::dtype::of<std::complex<float>>(), {ny, nx});
    if (!block_)
    {
        auto block = std::make_shared<Block>();
        block->samples = lumora_->GetDataPointer();
        block->count = detail::FieldAccess::Capacity(*lumora_);
        std::unique_ptr<Lumora> lumora = On(block->samples, block->count);
        block->owner.emplace(std::move(*lumora_));
        lumora_ = std::move(lumora);
        block_ = std::move(block);
    }
    return View(block_, ny, nx);
}

void Field::BeginResize()
{
    if (!block_)
        return;
    std::unique_ptr<Lumora> lumora;
    if (block_->owner && block_.use_count() == 1)
    {
        lumora = std::make_unique<Lumora>(std::move(*block_->owner));
        lumora->CopyParam(*lumora_).SetNx(lumora_->GetNx()).SetNy(lumora_->GetNy());
    }
    else
    {
        lumora = std::make_unique<Lumora>(*lumora_);
        before_ = block_;
    }
    lumora_ = std::move(lumora);
    block_.reset();
}

void Field::EndResize() noexcept
{
    const std::shared_ptr<Block> block = std::exchange(before_, nullptr);
    if (!block || lumora_->N() != block->count || lumora_->GetDataPointer() == nullptr ||
        detail::FieldAccess::Capacity(*lumora_) < block->count)
        return;
    std::memcpy(static_cast<void*>(block->samples), lumora_->GetDataPointer(), block->count * sizeof(Complex));
    try
    {
        lumora_ = On(block->samples, block->count);
        block_ = block;
    }
    catch (...) // no memory for a Lumora object: the field stays on its own samples
    {
    }
}

void Field::Detach()
{
    BeginResize();
    before_.reset();
}

void Field::Dispose()
{
    if (!block_)
    {
        lumora_->Dispose();
        return;
    }
    auto lumora = std::make_unique<Lumora>(0, 0);
    lumora->CopyParam(*lumora_).SetNx(lumora_->GetNx()).SetNy(lumora_->GetNy());
    lumora_ = std::move(lumora);
    block_.reset();
}
} // namespace LumoraLib::python
