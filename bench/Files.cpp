// LM save and load beside a plain write and read of the same bytes: a head of 134 bytes and the samples behind it.
#include "Bench.h"

#include <string>

namespace lmlbench
{
void AddFiles(bool quick)
{
    const int n = quick ? 1024 : 4096;
    const double samples = static_cast<double>(n) * n;
    const std::string folder = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
    const std::string lm = folder + "/lml-bench.lm";
    const std::string raw = folder + "/lml-bench.raw";
    auto field = std::make_shared<Lumora>(n, n);
    Fill(*field);
    const std::size_t bytes = field->N() * sizeof(Complex);
    const auto head = std::make_shared<std::string>(134, ' '); // as long as an LM file's, so that the samples lie alike
    const auto need = [](bool good)
    {
        if (!good)
        {
            std::fprintf(stderr, "the scratch file cannot be used\n");
            std::exit(2);
        }
    };
    Add("LM save", "ours", n, 1, samples, [=] { field->SaveAsLm(lm.c_str()); });
    Add("LM save", "plain write", n, 1, samples,
        [=]
        {
            std::FILE* const f = std::fopen(raw.c_str(), "w+b");
            need(f != nullptr);
            need(std::fwrite(head->data(), 1, head->size(), f) == head->size());
            need(std::fwrite(field->GetDataPointer(), 1, bytes, f) == bytes);
            need(std::fclose(f) == 0);
        });
    Add("LM load", "ours", n, 1, samples,
        [=]
        {
            if (field->GetNx() != n)
                std::exit(2);
            static bool saved = false;
            if (!saved)
                field->SaveAsLm(lm.c_str());
            saved = true;
            field->LoadLm(lm.c_str());
        });
    Add("LM load", "plain read", n, 1, samples,
        [=]
        {
            static bool saved = false;
            if (!saved)
            {
                std::FILE* const f = std::fopen(raw.c_str(), "w+b");
                need(f != nullptr && std::fwrite(head->data(), 1, head->size(), f) == head->size() &&
                     std::fwrite(field->GetDataPointer(), 1, bytes, f) == bytes && std::fclose(f) == 0);
            }
            saved = true;
            std::FILE* const f = std::fopen(raw.c_str(), "rb");
            need(f != nullptr);
            need(std::fread(head->data(), 1, head->size(), f) == head->size());
            need(std::fread(field->GetDataPointer(), 1, bytes, f) == bytes);
            std::fclose(f);
        });
}
} // namespace lmlbench
