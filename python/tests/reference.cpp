// Fields by the library in C++, as LM files in the folder of the first argument; test_reference.py makes the same ones.
#include <LmlLumora.h>

#include <string>
#include <vector>

int main(int, char** argv)
{
    using namespace LumoraLib;
    const std::string folder = std::string(argv[1]) + "/";
    SetNumThreads(2);
    const auto save = [&](const Lumora& field, const char* name)
    {
        field.SaveAsLm((folder + name + ".lm").c_str());
    };
    Lumora slit(256, 128, 8e-6, 10e-6, 532e-9);
    slit.SetRect(0.4e-3, 0.3e-3, 1.5);
    Lumora field = slit;
    save(field.AsmProp(0.05), "asm_prop");
    field = slit;
    save(field.ExactAsmProp(-0.02), "exact_asm_prop");
    field = slit;
    save(field.FresnelProp(0.3), "fresnel_prop");
    Lumora screen(256, 128, 5e-6, 6e-6, 532e-9);
    screen.SetOrigin(Vector(1e-4, -2e-4, 0.1));
    save(screen.ShiftedFresnelProp(slit), "shifted_fresnel_prop");
    Lumora tilted(256, 128, 8e-6, 10e-6, 532e-9);
    RMatrix turn = RMatrix::RotationY(0.01);
    save(tilted.Rotate(slit, turn, nullptr, CUBIC_INTERPOL, true), "rotate");
    const std::vector<CloudPoint> points = {{0, 0, -0.1, 1, 0}, {1e-4, 2e-4, -0.12, 0.5, 1}, {-2e-4, 0, 0.09, 2, -1}};
    field.Clear();
    field = Lumora(256, 128, 8e-6, 10e-6, 532e-9);
    field.Clear();
    save(field.AddPointCloud(points.data(), 3, CloudOptions()), "add_point_cloud");
    save(field.EncodeDoublePhase(), "encode_double_phase");
    field.Clear().AddSphericalWave(Vector(1e-4, 0, -0.1), 0.5, 2.0, WINDOW_COSINE);
    save(field.Embed(1), "embed");
}
