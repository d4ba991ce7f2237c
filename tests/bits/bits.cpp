// Prints one hash of result bits per operation of the inline value types, over random operands. The script beside it
// compiles this program with several compilers and options and compares what the programs print.
#include <LmlLumora.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

namespace
{
using namespace LumoraLib;

constexpr std::size_t kCount = 20000;

struct Operands
{
    double s[8];
    Vector Point(int n) const { return Vector(s[n], s[n + 1], s[n + 2]); }
    ComplexDouble Wide(int n) const { return ComplexDouble(s[n], s[n + 1]); }
    Complex Narrow(int n) const { return Complex(s[n], s[n + 1]); }
};

struct Hash
{
    std::uint64_t value = 14695981039346656037u;
    template <class T>
    void Add(const T& result)
    {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &result, sizeof(T));
        for (const unsigned char byte : bytes)
            value = (value ^ byte) * 1099511628211u;
    }
};

/// Results go through an array, so that the compiler sees a plain loop over the operation, and can vectorise it.
template <class Operation>
void Print(const char* name, const std::vector<Operands>& operands, const Operation& operation)
{
    std::vector<decltype(operation(operands[0]))> results(operands.size());
    for (std::size_t n = 0; n < operands.size(); ++n)
        results[n] = operation(operands[n]);
    Hash hash;
    for (const auto& result : results)
        hash.Add(result);
    std::printf("%-22s %016llx\n", name, static_cast<unsigned long long>(hash.value));
}
#define PRINT(expression) Print(#expression, operands, [](const Operands& o) { return expression; })

double Number(double v)
{
    return v;
}

Lumora* field;
} // namespace

int main()
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    std::vector<Operands> operands(kCount);
    for (Operands& o : operands)
        for (double& s : o.s)
            s = uniform(random);
    Lumora grid(8, 4, 0.1, 0.3, 0.7);
    field = &grid;

    PRINT(o.Point(0) * o.Point(3));
    PRINT(o.Point(0) & o.Point(3));
    PRINT(o.Point(0) + o.Point(3) * o.s[6]);
    PRINT(o.Point(0) - o.Point(3) * o.s[6]);
    PRINT(o.Point(0) + o.Point(3) / o.s[6]);
    PRINT(o.Point(0) + Vector(o.s[3] * o.s[4], o.s[5] * o.s[6], o.s[6] * o.s[7]));
    PRINT(o.Point(0).GetLength());
    PRINT(o.Point(0).GetDistance(o.Point(3)));
    PRINT(o.Point(0).GetNormalized() + o.Point(3));
    PRINT(Vector(o.Point(0)).SetLength(o.s[6]) + o.Point(3));
    PRINT(Angle(o.Point(0), o.Point(3)));
    PRINT((o.Point(0) & o.Point(3)) * o.Point(5));
    PRINT(o.Wide(0) * o.Wide(2));
    PRINT(o.Wide(0) / o.Wide(2));
    PRINT(o.Wide(0) + o.Wide(2) * o.s[4]);
    PRINT(o.Wide(0) - o.s[4] * o.Wide(2));
    PRINT(o.Wide(0) * o.Wide(2) + o.Wide(4) * o.Wide(6));
    PRINT(o.Wide(0) * o.Wide(2) / o.Wide(4) - o.Wide(6));
    PRINT(o.Wide(0) + ComplexDouble(o.s[2] * o.s[3], o.s[4] * o.s[5]));
    PRINT(norm(o.Wide(0)) + abs(o.Wide(2)));
    PRINT(Number(arg(o.Wide(0))));
    PRINT(Number(LumoraLib::Phase(o.s[0] * o.s[1])));
    PRINT(Number(LumoraLib::Phase(o.s[0]) + LumoraLib::Phase(o.s[1] * o.s[2])));
    PRINT(o.Narrow(0) * o.Narrow(2));
    PRINT(o.Narrow(0) * o.Narrow(2) * o.Narrow(4) + o.Narrow(6));
    PRINT(o.Narrow(0) / o.Narrow(2));
    PRINT(Complex(o.Narrow(0)) /= o.Narrow(2));
    PRINT(o.Narrow(0) + o.Narrow(2) * o.s[4]);
    PRINT(o.Narrow(0) - o.Narrow(2) / o.s[4]);
    PRINT(ComplexDouble(Complex(o.Wide(0))) * o.Wide(2));
    PRINT(Complex(o.Wide(0) * o.Wide(2)) * Complex(o.Wide(4) / o.Wide(6)));
    PRINT(o.Narrow(0).Intensity());
    PRINT((o.Narrow(0) * o.Narrow(2)).Amplitude());
    PRINT(Number(o.Narrow(0).Phase()));
    PRINT(field->X(static_cast<int>(4.0 * o.s[0])) + o.s[1]);
    PRINT(field->Y(static_cast<int>(4.0 * o.s[0])) - o.s[1]);
    PRINT(field->GetWidth() + field->GetMaxX() - field->GetMinY() + o.s[1]);
    PRINT(o.s[0] - field->GetHeight());
    return 0;
}
