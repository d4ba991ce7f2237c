// The field class Lumora with all its members, the descriptors of repeated transforms, TrigTable, and the file
// functions.
// One include reaches everything: the runtime, the value types, clouds and the engine entries come with it.
#ifndef LML_LMLLUMORA_H
#define LML_LMLLUMORA_H

#include "Fftsg.h"
#include "LmlApi.h"
#include "LmlCloud.h"
#include "LmlRuntime.h"
#include "LmlTypes.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace LumoraLib
{
class Lumora;
class ScaledFftDescriptor;
class ShiftedFresnelPropDescriptor;
class SphericalWaveDescriptor;
class TrigTable;

namespace detail
{
struct FieldAccess;
}

// ---------------------------------------------------------------------------------------------------------------
// Records of the members                                                                   (no unit of their own)
// ---------------------------------------------------------------------------------------------------------------

// What members of the field take and tell, where numbers do not do.

/// Reserved record of optional user data in LW and HBI files. No operation reads or writes one; a non-null pointer is
/// refused when saving with Error code 9.
struct OptionHead
{
};

/// Working record of the LM container operations: the path, the public operation's full name and the open stream.
struct _LM_File
{
    char path[260];    ///< as the caller gave it
    char function[80]; ///< full name of the public operation
    std::FILE* stream; ///< open, or null
};

/// An interpolator: reads a field between its samples at local coordinates (u, v).
using InterpolFunc = Complex (Lumora::*)(double u, double v) const;

/// What Lumora::RetrievePhase() tells of an iteration, before it changes anything: how good the phases so far are.
struct PhaseRetrievalStep
{
    int iteration;     ///< from 0
    double error;      ///< root of sum (|G| - g T)^2 / sum |G|^2 over the other plane, T asked for, g matching energies
    double litError;   ///< the same over the samples with T > 0 alone, g matching the energies there: unevenness
    double efficiency; ///< share of the energy that falls on samples with T > 0
};

/// How Lumora::RetrievePhase() works.
struct PhaseRetrieval
{
    int iterations = 50;   ///< each is one propagation there and one back
    bool weighted = false; ///< even out what is shown, at the cost of light
    double feedback = 1.0; ///< of the weighted form, 0 to 1: share of the lack that the next iteration makes up for
    /// Metres to the other plane, by AsmProp(); 0 for the Fourier plane, by Fft(-1) and Fft(1).
    double distance = 0.0;
    /// Any other way to the plane of the target and back, in place of the distance. Form and pitches may change, sizes
    /// not; a constant factor does not matter.
    std::function<void(Lumora& field)> forward;
    std::function<void(Lumora& field)> back;
    /// Called once an iteration; false ends the work there, without an error.
    std::function<bool(const PhaseRetrievalStep& step)> each;
};

/// How sharp a picture is, Lumora::GetFocusMeasure(). I is the intensity |u|^2, <> the mean over the window; all are
/// larger for sharper pictures, have no unit, and do not change with the brightness of the field.
enum FocusMeasure : std::int32_t
{
    /// <(I - <I>)^2> / <I>^2, the normalised variance: for sparse bright things, particles and spots.
    /// Source: Cytometry 6 (1985) 81.
    FOCUS_VARIANCE = 0,
    /// <Gx^2 + Gy^2> / <I>^2, G by the two 3 by 3 Sobel kernels on I (Tenengrad): edges, least upset by noise.
    /// Source: Int. J. Comput. Vis. 1 (1988) 223.
    FOCUS_GRADIENT = 1,
    /// <L^2> / <I>^2, L the sum of the second differences of I along x and y: finest details, and noise with them.
    /// Source: Opt. Eng. 32 (1993) 2824.
    FOCUS_LAPLACIAN = 2,
    /// sqrt(s / <I>), s the standard deviation of I (Tamura coefficient): has its peak where FOCUS_VARIANCE has it, and
    /// a flatter one. Source: Opt. Lett. 36 (2011) 1945.
    FOCUS_TAMURA = 3,
    /// The Tamura coefficient of sqrt(gx^2 + gy^2), g the central differences of |u|: how few edges hold the picture;
    /// for amplitude and for phase objects. Source: Opt. Lett. 42 (2017) 3824.
    FOCUS_EDGE_SPARSITY = 4,
    /// sqrt(<|u|^2>) / <|u|>: the sum of the amplitudes is least where an amplitude object is sharp, and this is
    /// largest there; with a phase object it is smallest. Source: Opt. Express 14 (2006) 5895.
    FOCUS_AMPLITUDE = 5
};

/// Which propagation takes a field to the planes of a stack.
enum StackPropagator : std::int32_t
{
    STACK_ASM = 0,      ///< Lumora::AsmProp()
    STACK_EXACT_ASM = 1 ///< Lumora::ExactAsmProp()
};

/// What Lumora::PropagateStack() calls for each plane: the plane, which is the library's and changes after the call,
/// and its index in the list of distances. false ends the stack, without an error.
using StackPlane = std::function<bool(const Lumora& plane, std::size_t index)>;

// ---------------------------------------------------------------------------------------------------------------
// The field                                                                        (the units named in the class)
// ---------------------------------------------------------------------------------------------------------------

// A class of its own page; its sections are the units in which its members stand.

/// A sampled monochromatic scalar field (or its spectrum) on a plane in space.
///
/// The grid has Nx times Ny samples of Complex, row by row, both sizes powers of two. Sample (i, j) stands at linear
/// index i + Nx * j and at the local coordinates x = (i - Nx/2) * Px, y = (j - Ny/2) * Py. In a spectrum Px and Py are
/// frequency pitches in cycles per metre, and index (Nx/2, Ny/2) is frequency zero. Copies are deep, mutating members
/// return the object so that calls chain. The library is used from one thread of the program at a time, whatever fields
/// its calls work on; only members that say so (the interpolators, the single-threaded point sources) may run on
/// several. The heavy members run their loops on a team of GetNumThreads() threads.
///
/// A field whose sizes announce more samples than its buffer holds (after SetNx, a parameter load, Dispose) refuses
/// operations that touch samples with Error code 6 and the operation's name until Init has been called; so it does with
/// a negative size, and without samples where one size is 0 and the other above 2^20. Where the buffer is large enough
/// for sizes set without Init nothing is refused: the samples are the leading ones of before, in rows of the new
/// length. Clear does nothing on a field without samples.
///
/// Samples that nobody has written are undefined. Debug builds of the library give them signalling not-a-numbers, so
/// that a forgotten Clear shows in every result, and stops a program that traps invalid operations; release builds
/// write nothing.
class LML_API Lumora
{
public:
    // ------------------------------------------------------------------------------------------------------- Basic
    // Life cycle, defaults, parameters, coordinates, sample access, window.

    /// A field of the default size, pitch and wavelength. Samples are not cleared. Memory: 8 bytes a sample.
    /// @throws code 1, "LumoraLib::Lumora::Init" when the memory is not there (so every constructor).
    Lumora();
    /// A square field of N by N samples, raised to powers of two, default pitch and wavelength.
    explicit Lumora(int N);
    /// A field of Nx by Ny samples, each raised to a power of two; a zero size makes an empty field.
    Lumora(int Nx, int Ny);
    /// The same with the pitch p (metres) on both axes.
    Lumora(int Nx, int Ny, double p);
    /// The same with a pitch per axis (metres).
    Lumora(int Nx, int Ny, double Px, double Py);
    /// The same with the wavelength (metres).
    Lumora(int Nx, int Ny, double Px, double Py, double wavelength);
    /// Deep copy; the copy owns its buffer even where the original uses a caller's. Samples that the original's sizes
    /// announce but its buffer does not hold come out as zeros.
    Lumora(const Lumora& other);
    /// Takes the samples over; the moved-from field is empty (0 by 0) and may be assigned to or given sizes again.
    Lumora(Lumora&& other) noexcept;
    /// Releases owned samples; a caller's buffer is left alone.
    ~Lumora();
    /// Deep copy into this object's own buffer; sizes, parameters and window come from the source. Sizes that differ go
    /// through Init(nullptr), with its errors, which leave this field as it was, and with what it does to a caller's
    /// buffer.
    Lumora& operator=(const Lumora& other);
    /// As the move constructor where both fields own their buffers; otherwise as the copy.
    Lumora& operator=(Lumora&& other);

    /// Applies the present Nx and Ny: raises both to powers of two and makes room for the samples, or attaches
    /// `buffer`. `buffer` must hold Nx * Ny samples after the raise and be aligned to 16 bytes; it stays the caller's.
    /// With null an owned buffer is resized, its leading samples kept. Window, form and pitches stay.
    /// Kept: an owned buffer is not released when a caller's is attached (Dispose first), and Nx * Ny = 0 with a
    /// caller's buffer attached gives that buffer to Free: set a zero size only with a buffer from Malloc.
    /// @throws code 1, "LumoraLib::Lumora::Init": "User-Defined buffer is too small" or
    ///         "Memory allocation failed : Demanded bytes = %ld" (also for sizes above 2^30 or products that do not
    ///         fit).
    void Init(Complex* buffer);
    /// Frees owned samples and keeps everything else; Init(nullptr) brings undefined samples back.
    void Dispose();

    /// Defaults of the constructors: sizes in samples, pitches and wavelength in metres; unchecked. Existing fields
    /// stay.
    static void SetDefault(std::int32_t n);
    static void SetDefault(std::int32_t nx, std::int32_t ny);
    static void SetDefault(std::int32_t nx, std::int32_t ny, double p);
    static void SetDefault(std::int32_t nx, std::int32_t ny, double px, double py);
    static void SetDefault(std::int32_t nx, std::int32_t ny, double px, double py, double wavelength);
    static void SetDefaultNx(std::int32_t nx);
    static void SetDefaultNy(std::int32_t ny);
    static void SetDefaultPx(double px);
    static void SetDefaultPy(double py);
    static void SetDefaultWavelength(double wavelength);
    static std::int32_t GetDefaultNx();
    static std::int32_t GetDefaultNy();
    static double GetDefaultPx();
    static double GetDefaultPy();
    static double GetDefaultWavelength();

    /// The wavenumber 2 pi / wavelength in radians per metre, writable.
    double& k() { return k_; }
    double GetWavenumber() const { return k_; }
    void SetWavenumber(double value) { k_ = value; }
    /// The wavelength in metres, always derived as 2 pi / k.
    double GetWavelength() const { return 6.283185307179586 / k_; }
    double lambda() const { return GetWavelength(); }
    Lumora& SetWavelength(double wavelength)
    {
        k_ = 6.283185307179586 / wavelength;
        return *this;
    }
    /// The sampling pitches, in metres per sample, in a spectrum in cycles per metre per sample; writable.
    double& Px() { return px_; }
    double& Py() { return py_; }
    const double& GetPx() const { return px_; }
    const double& GetPy() const { return py_; }
    Lumora& SetPx(double value)
    {
        px_ = value;
        return *this;
    }
    Lumora& SetPy(double value)
    {
        py_ = value;
        return *this;
    }
    /// The sizes, writable without rounding or allocation: Init must follow before samples are used.
    std::int32_t& Nx() { return nx_; }
    std::int32_t& Ny() { return ny_; }
    const std::int32_t& GetNx() const { return nx_; }
    const std::int32_t& GetNy() const { return ny_; }
    Lumora& SetNx(std::int32_t value)
    {
        nx_ = value;
        return *this;
    }
    Lumora& SetNy(std::int32_t value)
    {
        ny_ = value;
        return *this;
    }
    /// The number of samples, Nx * Ny in 64 bits.
    std::size_t N() const { return static_cast<std::size_t>(std::int64_t{nx_} * ny_); }
    std::size_t GetN() const { return N(); }
    /// The form flags, writable: bit 0 spectrum, bit 1 polar samples.
    ComplexForm& Form() { return form_; }
    /// The working window left <= i < right, bottom <= j < top, writable with no check.
    LML_RECT& Window() { return window_; }
    /// The samples, or null.
    Complex* GetDataPointer() const { return dataPointer_; }
    /// Global position of the sample point x = 0, y = 0 in metres.
    Vector GetOrigin() const { return origin_; }
    Lumora& SetOrigin(Vector v)
    {
        origin_ = v;
        return *this;
    }
    /// Unit normal of the plane in global coordinates.
    Vector GetNormalVector() const { return normalVector_; }
    /// Stores v normalised; a zero vector is stored as (0, 0, 0) without error.
    Lumora& SetNormalVector(Vector v)
    {
        normalVector_ = v.Normalize();
        return *this;
    }

    /// Questions about the form flags. IsComplexForm is about the samples' representation (cartesian or polar),
    /// IsComplexAmplitude about the domain (field or spectrum).
    bool IsPolarForm() const { return (form_ & 2) != 0; }
    bool IsComplexForm() const { return (form_ & 2) == 0; }
    bool IsSpectrum() const { return (form_ & 1) != 0; }
    bool IsFourierSpace() const { return (form_ & 1) != 0; }
    bool IsRealSpace() const { return (form_ & 1) == 0; }
    bool IsComplexAmplitude() const { return (form_ & 1) == 0; }

    /// Coordinate of column i, of row j (metres, or cycles per metre in a spectrum).
    double X(int i) const { return detail::Rounded((static_cast<double>(i) - nx_ / 2) * px_); }
    double Y(int j) const { return detail::Rounded((static_cast<double>(j) - ny_ / 2) * py_); }
    double itox(int i) const { return X(i); }
    double jtoy(int j) const { return Y(j); }
    /// Index of the sample nearest to a coordinate, not clamped; out of the 32-bit range gives the truncation's
    /// overflow value.
    int I(double x) const;
    int J(double y) const;
    int xtoi(double x) const { return I(x); }
    int ytoj(double y) const { return J(y); }
    /// The same clamped to 0 ... Nx and 0 ... Ny, the exclusive end of an index range, for every coordinate: clamped as
    /// a double, then truncated; a not-a-number gives 0.
    /// Kept: the upper clamp is the size itself, one past the last sample.
    int _xtoi(double x) const;
    int _ytoj(double y) const;
    /// Linear index of sample (i, j).
    std::size_t IJ(std::size_t i, std::size_t j) const { return static_cast<std::size_t>(nx_) * j + i; }
    std::size_t ij(std::size_t i, std::size_t j) const { return IJ(i, j); }
    /// The outline of the grid. Kept: the maxima name the point one pitch past the last sample.
    double GetMinX() const { return detail::Rounded(static_cast<double>(-std::int64_t{nx_} / 2) * px_); }
    double GetMaxX() const { return detail::Rounded((nx_ / 2) * px_); }
    double GetMinY() const { return detail::Rounded(static_cast<double>(-std::int64_t{ny_} / 2) * py_); }
    double GetMaxY() const { return detail::Rounded((ny_ / 2) * py_); }
    double GetWidth() const { return detail::Rounded(nx_ * px_); }
    double GetHeight() const { return detail::Rounded(ny_ * py_); }

    /// Sample access, column first; unchecked. Kept: none of these looks at Form, so on polar samples "real" is the
    /// amplitude and "imaginary" the phase, and the polar views below treat the pair as cartesian.
    Complex& operator[](std::size_t n) { return dataPointer_[n]; }
    Complex& Pixel(int i, int j) { return dataPointer_[Index(i, j)]; }
    float& Real(int i, int j) { return dataPointer_[Index(i, j)].real(); }
    float& Imag(int i, int j) { return dataPointer_[Index(i, j)].imag(); }
    Complex GetPixel(int i, int j) const { return dataPointer_[Index(i, j)]; }
    Lumora& SetPixel(int i, int j, Complex c)
    {
        dataPointer_[Index(i, j)] = c;
        return *this;
    }
    double GetReal(int i, int j) const { return dataPointer_[Index(i, j)].GetReal(); }
    double GetImag(int i, int j) const { return dataPointer_[Index(i, j)].GetImag(); }
    Lumora& SetReal(int i, int j, double v)
    {
        dataPointer_[Index(i, j)].SetReal(v);
        return *this;
    }
    Lumora& SetImag(int i, int j, double v)
    {
        dataPointer_[Index(i, j)].SetImag(v);
        return *this;
    }
    /// Intensity re^2 + im^2, its root, and the phase atan2(im, re) of a sample, by the mixed precision rule of
    /// Complex.
    double Intensity(int i, int j) const { return dataPointer_[Index(i, j)].Intensity(); }
    double GetIntensity(int i, int j) const { return Intensity(i, j); }
    double Amplitude(int i, int j) const { return dataPointer_[Index(i, j)].Amplitude(); }
    double GetAmplitude(int i, int j) const { return Amplitude(i, j); }
    LumoraLib::Phase Phase(int i, int j) const { return dataPointer_[Index(i, j)].Phase(); }
    LumoraLib::Phase GetPhase(int i, int j) const { return Phase(i, j); }
    /// Set one polar quantity of a cartesian sample (phase in radians) and keep the other; both members are rewritten.
    Lumora& SetIntensity(int i, int j, double intensity)
    {
        dataPointer_[Index(i, j)].SetIntensity(intensity);
        return *this;
    }
    Lumora& SetAmplitude(int i, int j, double amplitude)
    {
        dataPointer_[Index(i, j)].SetAmplitude(amplitude);
        return *this;
    }
    Lumora& SetPhase(int i, int j, double phi)
    {
        dataPointer_[Index(i, j)].SetPhase(phi);
        return *this;
    }

    /// The window becomes the whole grid.
    Lumora& SetWindowMax();
    /// Index form, exclusive upper ends; equal bounds are widened to one sample.
    /// @throws code 3, "LumoraLib::Lumora::SetWindow", "" when a bound lies outside the grid. A reversed window passes.
    Lumora& SetWindow(int i1, int i2, int j1, int j2);
    /// Coordinate form: each bound becomes the index of its nearest sample. Errors as the index form, and for a
    /// not-a-number or a coordinate whose index leaves 32 bits.
    Lumora& SetWindow(double x1, double x2, double y1, double y2);
    /// Checked copy; a zero-sized window is not widened. Errors as the index form.
    Lumora& SetWindow(const LML_RECT& r);
    /// Takes the other field's window, unchecked: it may lie outside this grid.
    Lumora& TransferWindow(Lumora& other);
    /// Trims both windows to the smaller width and height; their lower left corners stay. Unchecked.
    Lumora& SetWindowCommon(Lumora& other);

    /// Every sample := 0 whatever the form; does nothing on a field without samples.
    Lumora& Clear();

    // ------------------------------------------------------------------------------------------------- Arithematic
    // Element-wise arithmetic and constant fills. None of the arithmetic looks at Form or the window: on polar samples
    // it acts on amplitude and phase as they stand. Each is one parallel sweep over the samples without further memory;
    // the amplitude and phase fills take three. Divisions by zero give infinities and not-a-number, without an error.

    /// Each member := 0 - member. Kept: it changes the field itself and returns it.
    Lumora& operator-();
    /// Sample by sample with a field of the same size, in single precision; the quotient in double, rounded once.
    /// Pitches, wavelengths and forms are not compared. `b` may be this field.
    /// @throws code 3, the operator's name, "" when Nx or Ny differ.
    Lumora& operator+=(const Lumora& b);
    Lumora& operator-=(const Lumora& b);
    Lumora& operator*=(const Lumora& b);
    Lumora& operator/=(const Lumora& b);
    /// With a constant, rounded to single precision first; the quotient is a product with the rounded reciprocal. Kept:
    /// of the four products of a sample with a factor, the two with its imaginary part are single ones, the others
    /// double.
    Lumora& operator+=(const ComplexDouble& c);
    Lumora& operator-=(const ComplexDouble& c);
    Lumora& operator*=(const ComplexDouble& c);
    Lumora& operator/=(const ComplexDouble& c);
    /// Both members times (float) d in single precision.
    Lumora& operator*=(double d);
    /// Both members times 1.0 / d in double, rounded once.
    Lumora& operator/=(double d);

    /// Fills over the whole grid: both members, the first, the second, all amplitudes, all phases (radians, not
    /// wrapped). The first three look at no form. Kept: the amplitude and phase fills convert to polar samples and
    /// always leave cartesian ones, whatever came in; they keep the other quantity up to the rounding of the two
    /// conversions.
    Lumora& SetConst(const Complex& value);
    Lumora& SetConstReal(double value);
    Lumora& SetConstImag(double value);
    Lumora& SetConstAmplitude(double value);
    Lumora& SetConstPhase(double value);
    /// The same in the window only (its part inside the grid; a reversed window is empty). Kept: the amplitude and
    /// phase forms convert the whole grid there and back, so samples outside can change in their last bits.
    Lumora& SetConstWin(const Complex& value);
    Lumora& SetConstWinReal(double value);
    Lumora& SetConstWinImag(double value);
    Lumora& SetConstWinAmplitude(double value);
    Lumora& SetConstWinPhase(double value);

    /// Sizes and samples of src; nothing else changes, so the window can be smaller than the new grid or reach beyond
    /// it.
    /// @throws what Init throws; this field is then as it was.
    Lumora& CopyData(const Lumora& src);
    /// k, form, pitches, window, normal and origin of src; not the sizes, not the samples. The window can lie outside
    /// this grid.
    Lumora& CopyParam(const Lumora& src);

    // -------------------------------------------------------------------------------------------------- Conversion
    // Between cartesian and polar samples, to real quantities, normalisation, quarter turns.

    // All but NormalizeWin work on the whole grid and ignore the window; one or two sweeps over the samples each.

    /// Obsolete entries of the form conversions: print "ObsoleteMethod!" through Printf and convert. A sample (x, y)
    /// becomes (sqrt(x x + y y), atan2(y, x)) and back; a round trip loses what single precision loses.
    Lumora& ConvToPolarForm();
    Lumora& ConvToComplexForm();
    /// Sample := (intensity, 0). This and the next three leave Form as it is: on a polar field the result counts as an
    /// amplitude with phase 0.
    Lumora& ConvToIntensity();
    /// Sample := (log2(1 + intensity), 0). Kept: on polar samples the 1 stands outside the logarithm, so that amplitude
    /// 0 gives minus infinity.
    Lumora& ConvToLogIntensity();
    /// Sample := (amplitude, 0).
    Lumora& ConvToAbsolute();
    /// Sample := its conjugate (in polar form the negated phase).
    Lumora& ConvToConjugate();
    /// Scales the grid so that its largest amplitude becomes `value`; phases stay. An all-zero field becomes
    /// not-a-number. Cartesian samples are scaled in single precision, polar amplitudes in double.
    Lumora& Normalize(double value);
    /// Scales the whole grid so that the largest amplitude in the window becomes `value`. A window whose lower left
    /// corner lies outside the grid and that holds no sample changes nothing. Kept: a polar spectrum is measured as if
    /// it were cartesian.
    Lumora& NormalizeWin(double value);
    /// Turns a square grid by n right angles, n from 1 to 3; window and pitches stay. Memory: a copy of the field.
    /// Kept: 3 is no turn (each column ends at one sample of the anti-diagonal): call 1 three times. Rectangular grids
    /// are turned by 2 only; 1 and 3 leave samples out there.
    /// @throws code 3, "LumoraLib::Lumora::ImageRotation", "" for other n.
    Lumora& ImageRotation(int n);

    // -------------------------------------------------------------------------------------------------- Interpol
    // Reading the field between its samples. u, v are local coordinates in the units of Px and Py (metres, in a
    // spectrum cycles per metre), measured from the sample point (Nx/2, Ny/2). No member looks at Form: a polar field
    // is read as the pair (amplitude, phase), without unwrapping. Nothing changes, so any number of threads may read
    // one field at once. Not-a-number and coordinates far outside give 0, apart from the sinc members, whose sum runs
    // over the whole row for any number. On a field without samples the interpolators
    // report code 6 with their own names, AdjacentInterpol() with that of NearestNeighbor().
    // The 1d members serve fields of one row and report code 3,
    // "LumoraLib::Lumora::<name>", "" on others.

    /// The value at (u, v) by the interpolator behind a chooser value; throws what GetInterpolFunc() throws.
    Complex GetInterpolVal(double u, double v, Interpol interpol) const;
    Complex GetInterpolVal(double u, double v, InterpolFunc func) const { return (this->*func)(u, v); }
    /// The nearest sample, 0 outside the grid. The same function under two names (ADJACENT_INTERPOL).
    Complex NearestNeighbor(double u, double v) const;
    Complex AdjacentInterpol(double u, double v) const;
    /// Four neighbours (BILINEAR_INTERPOL), each product rounded to float. Indices are not quantised; the last column
    /// and row blend with themselves, so the field reaches one pitch past its last sample.
    Complex BiLinear(double u, double v) const;
    /// Four neighbours (LINEAR_INTERPOL), weights rounded to float, sum in double. Outside is decided on the index cut
    /// to four decimals; whatever lies past the last sample is 0, unlike BiLinear. With Ny = 1 it is
    /// LinearInterpol1d(u).
    Complex LinearInterpol(double u, double v) const;
    /// The straight line between two samples of a row.
    /// Kept: a point up to one pitch past the last sample is read too, towards 0.
    Complex LinearInterpol1d(double u) const;
    /// Cubic convolution with the parameter -0.75 (BICUBIC_INTERPOL): 4 by 4 samples, index not quantised, products
    /// rounded to float after each axis.
    Complex BiCubic(double u, double v) const;
    /// Separable cubics of 4, 6 and 8 points per axis (CUBIC4_, CUBIC6_, CUBIC8_INTERPOL; CUBIC_INTERPOL is the last).
    /// The index is cut to four decimals, toward zero, so that a point within 1e-4 of a sample above it falls on it.
    /// Outside the grid stand zeros. Cost: 16, 36, 64 products of a sample and a weight.
    Complex Cubic4Interpol(double u, double v) const;
    Complex Cubic6Interpol(double u, double v) const;
    Complex Cubic8Interpol(double u, double v) const;
    /// The same by kernel selector: 4, 6, 8, or 9 for the 8-point kernel read from the table of GenCubicTable(), at the
    /// step of 1/1024 below. Without a table, 9 computes the entries it needs.
    /// @throws code 3, "LumoraLib::Lumora::CubicInterpol", "unsupported pixel kernel" for other selectors.
    Complex CubicInterpol(double u, double v, int kernel) const;
    /// Along x only, in the row nearest to v; v is rounded to float first.
    /// Kept: column Nx counts as inside and is the first sample of the following row (0 past the last row).
    /// @throws code 3, "LumoraLib::Lumora::CubicInterpolX", "unsupported pixel kernel" for other selectors.
    Complex CubicInterpolX(double u, double v, int kernel) const;
    Complex CubicInterpol1d(double u, int kernel) const;
    /// The sum of sin(pi d) / (pi d) over the whole nearest row, without a window. Cost: Nx sines for every call, so
    /// for 1-D work only.
    Complex SincInterpolX(double u, double v) const;
    Complex SincInterpol1d(double u) const;
    /// Fills the table of 4096 doubles that selector 9 reads; kept until the process ends, further calls do nothing. To
    /// be called before threads use the selector.
    /// @throws code 1, "LumoraLib::Malloc", "demanded bytes = 32768 : Cubic Table" when the memory is not there.
    static void GenCubicTable();

    // ------------------------------------------------------------------------------------------------- LocalSystem
    // The field's place in space; combination of fields on one plane.
    //
    // The local frame follows from the normal alone: LG is the shortest rotation of the global z axis onto it, and a
    // point with local coordinates p has the global position LG p + origin. Kept: for the normal (0, 0, -1) LG is -1
    // times the identity, a point reflection (local x and y are the negatives of the global ones), and for (0, 0, 0) it
    // is zero. These members build the matrix at each call: for set-up, not for sample loops.

    /// LG, which turns local directions into global ones, and its inverse.
    RMatrix GetCRMatrixLG() const;
    RMatrix GetCRMatrixGL() const;
    /// Positions (metres) from local to global coordinates and back.
    Vector GetGlobalPosition(Vector p) const;
    Vector GetLocalPosition(Vector p) const;
    /// The local x and y axes as global directions.
    Vector GetUnitVectorX() const;
    Vector GetUnitVectorY() const;
    /// The plane through the origin, and the line along the normal.
    Plane GetPlane() const;
    Line GetOpticalAxis() const;
    /// The outline as 4 * 2^n points, 2^n a side, counter-clockwise from the corner of largest x and smallest y: in
    /// global coordinates (metres), in a spectrum in its own plane of frequencies without rotation and origin. The full
    /// extent Nx Px by Ny Py: the largest coordinates are one pitch past the last samples.
    /// @throws code 3, "LumoraLib::Lumora::GetFrame", "n must be positive value" for n < 0, and for n > 28, whose
    ///         points no array can count.
    PointArray GetFrame(int n) const;

    /// Reads `source` at the samples of this grid and replaces, adds to (in single precision) or multiplies (in double,
    /// rounded once) what stands there. Only where the source lies: its footprint runs from the sample nearest to its
    /// first to the one nearest to its last. Both fields lie on one plane; k, form and window are not looked at and
    /// stay.
    /// Kept: the footprint's last column and row are left out where they fall inside this grid. Kept: the offset is the
    /// difference of the global x and y of the origins, also on a tilted plane. A copy sets the rest of this grid to 0,
    /// but without any overlap nothing changes. A field may be its own source.
    /// @throws code 3, the operation's name, the Shift-JIS text for "on different planes"; what GetInterpolFunc()
    ///         throws, a copy after its clearing; code 6 with the operation's name without samples.
    /// Cost: one interpolation a sample; kernel values along x and y are worked out once a column and row. Memory: 20
    /// to 76 bytes a column.
    Lumora& ResamplingCopy(const Lumora& source, Interpol interpol);
    Lumora& ResamplingAdd(const Lumora& source, Interpol interpol);
    Lumora& ResamplingMultiply(const Lumora& source, Interpol interpol);
    /// Sample on sample, without interpolation: the source's grid is laid over this one at the nearest sample. Pitches
    /// may differ by a thousandth, which is not corrected. Offset, planes and precision as above.
    /// @throws code 3, "LumoraLib::Lumora::Add" or "...::Multiply", the Shift-JIS texts for "on different planes" and
    ///         "the pitches differ"; code 6 without samples.
    Lumora& Add(const Lumora& source);
    Lumora& Multiply(const Lumora& source);

    // ----------------------------------------------------------------------------------------------------- Measure
    // Scalar measures, over the window unless the name says Whole. Sums run in double: on one thread the running sum
    // in row order, on more per-thread partial sums joined in thread order, so that a result depends on the thread
    // count alone; maxima do not depend on it. A window beyond the grid counts with the samples that there are, but
    // averages divide by its (top - bottom) * (right - left) as it stands; an empty one gives sums 0 and averages not
    // a number. The window and the samples stay. Cost: one pass over the samples.
    //
    // The magnitude of a sample: in form POLAR_AMPLITUDE the first member, its square formed in single precision;
    // otherwise sqrt(re^2 + im^2) in double. Kept: that holds for POLAR_SPECTRUM too, so a polar spectrum is measured
    // as if its samples were cartesian; convert it first.
    //
    // @throws all of them: code 6, the member's name, on a grid without samples.

    /// Sum of the squared magnitudes: the energy in the window, in squares of the amplitude's unit.
    double GetSquareSum() const;
    /// The same over the grid.
    double GetSquareSumWhole() const;
    /// GetSquareSum() over the window's sample count.
    double GetSquareAverage() const;
    /// Sum of the magnitudes (two names for one measure).
    double GetAbsoluteSum() const;
    double GetAmplitudeSum() const;
    /// The same over the window's sample count.
    double GetAbsoluteAverage() const;
    double GetAmplitudeAverage() const;
    /// Largest magnitude in the window. Samples that are not a number replace nothing. Kept: the search starts from
    /// sqrt(first^2 + second^2) of the sample (left, bottom), also in polar form, where a phase there can exceed
    /// every amplitude, and for an empty window. A corner outside the grid starts from 0.
    double GetAbsoluteMax() const;
    double GetAmplitudeMax() const;
    /// The same over the grid, from the first sample; 0 for a grid of no samples.
    double GetAmplitudeMaxWhole();
    /// Mean of (A - a)^2 over the window, A being GetAbsoluteAverage(). Kept: a is sqrt(first^2 + second^2) in every
    /// form, with the second square in single precision, so it is a variance of amplitudes on cartesian samples only.
    double GetAmplitudeVariance() const;
    /// Share of the grid's energy that lies in the window, 0 to 1. A field of one row counts the window's columns,
    /// whatever its rows say.
    /// @throws code 7, "LumoraLib::Lumora::GetEnergyRatioInWindow", "" in form POLAR_AMPLITUDE.
    double GetEnergyRatioInWindow() const;
    /// Signal to noise against a reference r times a complex scale s: sum |u|^2 / sum |u - s r|^2 as a plain ratio,
    /// both over samples at equal offsets from the two windows' corners. The noise takes all samples as cartesian and
    /// rounds a difference to float. Equal fields give infinity. With s from GetScaleFactor() the ratio is the
    /// largest.
    /// @throws code 3, "LumoraLib::Lumora::GetSnr", "Window size" when the windows differ in width or height.
    double GetSnr(const Lumora& reference, const ComplexDouble& scale) const;
    /// The same, its errors included.
    double GetSNR(const Lumora& reference, const ComplexDouble& scale) const;
    /// The complex factor that maps the reference best on this field, sum u conj(r) / sum |r|^2 (least squares), over
    /// the two windows as in GetSnr(). Cartesian samples; only the sum below the line looks at the reference's form.
    /// @throws code 3, "LumoraLib::Lumora::GetScaleFactor", "Window size".
    ComplexDouble GetScaleFactor(const Lumora& reference) const;
    /// (sum |a| |b|)^2 / (sum |a|^2 sum |b|^2) with this field's a over its grid: 1 where the amplitudes are
    /// proportional. Samples are paired by linear index, as far as both fields go. Kept: the last sum runs over the
    /// other field's own window (of this very field: over the grid); set it to the whole grid for a factor of at
    /// most 1.
    /// @throws code 7, "LumoraLib::Lumora::GetOverlapFactor", "" when this field's form is POLAR_AMPLITUDE.
    double GetOverlapFactor(const Lumora& other);
    /// Histogram of the first members in -1 <= v < 1 over the grid, as a new field of one row on the heap that the
    /// caller deletes: bins samples, raised to a power of two, counts in the first members, pitch 2 / bins, zero in
    /// the centre. Kept: with bins not a power of two the pitch is that of the requested number. A value that rounds
    /// past the end counts in the last bin. Counts stop growing at 2^24.
    /// @throws code 1 when the memory is not there.
    Lumora& CreateRealHistogram(int bins) const;

    // ------------------------------------------------------------------------------------------------------- Focus
    /// How sharp the picture in the window is (its part inside the grid), for finding a distance: see FocusMeasure. Any
    /// domain; cartesian or polar samples. Edges count inside the window only: sums of differences leave out the
    /// outermost samples. 0 without light or without samples enough (3 by 3; one row is measured along x). Sums run in
    /// double, row by row, the rows' sums joined in order: the same value for every thread count. Cost: one parallel
    /// pass over the window. Memory: 16 bytes a row.
    /// @throws "LumoraLib::Lumora::GetFocusMeasure": code 3, "no such measure"; code 6 without samples; code 1 of
    ///         "LumoraLib::Malloc".
    double GetFocusMeasure(FocusMeasure measure) const;

    // ------------------------------------------------------------------------------------------------------ Modify
    // Synthesis from shapes, changes of size, shifts, drawing, embedding and extraction. All work on the stored pair
    // of members whatever the form says. A refused call changes nothing. Size changes hold a copy of the field while
    // they run (8 bytes a sample) and need the larger of both sizes beside it; where Init finds no memory (code 1,
    // "LumoraLib::Lumora::Init") sizes and samples stay. On a grid without samples all end in code 6 and the member's
    // name.

    /// A bright rectangle of wx by wy metres about the centre, (amplitude, 0) on columns from the index of -wx/2 up
    /// to that of wx/2, this one excluded, zero elsewhere. A width beyond the grid reaches its edges; a field of one
    /// row ignores wy. The form stays.
    Lumora& SetRect(double wx, double wy, double amplitude);
    /// amplitude exp(-(|x|/wx)^orderX - (|y|/wy)^orderX), cartesian (form 0). Kept: orderX serves both axes, orderY
    /// has no effect. Order 2 is the Gaussian with 1/e half-widths wx and wy in metres, higher orders grow flat tops.
    Lumora& SetSeparableGaussian(double wx, double wy, double orderX, double orderY, double amplitude);
    /// amplitude exp(-(r/w)^order), r = sqrt(x^2 + y^2), cartesian (form 0).
    Lumora& SetGaussian(double w, double order, double amplitude);
    /// Unit plane wave exp(i (k d x + phase)) along `direction`, normalised here; positions are the samples' local x,
    /// y plus the origin's global x and y, z parts do not enter. A zero direction gives the constant exp(i phase).
    /// The wave is sampled rightly while |d_x| < lambda / (2 Px), and so for y. Cartesian samples are meant; the form
    /// stays.
    Lumora& SetPlaneWave(Vector direction, LumoraLib::Phase phase);
    /// The same by the direction cosines to the x and y axes.
    /// @throws code 3, "LumoraLib::Lumora::SetPlaneWave", "CosA and CosB must be direction cosine" unless both lie in
    ///         -1 ... 1 and their squares add up to 1 at most.
    Lumora& SetPlaneWave(double cosA, double cosB, LumoraLib::Phase phase);
    /// Multiplies the samples by the same waves, the factor rounded to float first.
    /// @throws as SetPlaneWave, with "LumoraLib::Lumora::MultiplyPlaneWave".
    Lumora& MultiplyPlaneWave(Vector direction, LumoraLib::Phase phase);
    Lumora& MultiplyPlaneWave(double cosA, double cosB, LumoraLib::Phase phase);

    /// Replaces blocks of 2^n by 2^n samples (2^nx by 2^ny) by their mean; the pitches grow by the factors, the
    /// window becomes the whole grid. An axis of one sample stays. In this and the next members the shift count is
    /// taken modulo 32.
    /// @throws code 3, "LumoraLib::Lumora::ReduceByAverage", "" for a negative argument and for a block that is not
    ///         smaller than the field on an axis of more than one sample.
    Lumora& ReduceByAverage(int n);
    Lumora& ReduceByAverage(int nx, int ny);
    /// 2^n by 2^n copies of the field side by side; a field of one row stays one row. Window and pitches stay.
    /// @throws code 3, "LumoraLib::Lumora::Replicate", "" for a negative argument.
    Lumora& Replicate(int n);
    /// Every sample becomes a block of 2^n by 2^n equal ones: pitches are divided, the window's bounds multiplied by
    /// 2^n (its rows not in a field of one row, which stays one row, while Py is divided there too).
    /// @throws code 3, "LumoraLib::Lumora::Pixelation", "" for a negative argument; so does Subdivide, by this name.
    Lumora& Pixelation(int n);
    Lumora& Subdivide(int n);
    /// Spreads the samples 2^n apart with zeros between them, so that the transform repeats 2^n times along each axis.
    /// The window grows as in Pixelation, the pitches stay.
    /// @throws code 3, "LumoraLib::Lumora::EnlargeZeroFill", "" for a negative argument.
    Lumora& EnlargeZeroFill(int n);
    /// Becomes the source's window, centred on a grid of its size raised to powers of two, with the source's
    /// wavelength, form, pitches, normal and origin (which is not moved to the window's place); the window marks the
    /// copied part. Kept: `background` fills the samples of the size before; samples that a larger size adds are
    /// undefined, so take a destination that is large enough. A window beyond its grid gives the samples that there
    /// are.
    Lumora& ExtractWindow(const Lumora& source, Complex background);
    /// Moves the samples by the nearest whole number of pitches, towards -x for a positive d (metres), zeros following,
    /// and the origin of a field (not of a spectrum) by -d along its x axis. Kept: samples and origin move the same
    /// way, so in space the wave moves twice; set the origin back where only one of them is meant. A shift beyond the
    /// grid clears it.
    Lumora& ShiftZeroFillX(double d);
    /// The same along y; with an axis (X_AXIS or any other value for y); and x, then y.
    Lumora& ShiftZeroFillY(double d);
    Lumora& ShiftZeroFill(Axis axis, double d);
    Lumora& ShiftZeroFill(double dx, double dy);
    /// Adds the source's samples, its centre at (dx, dy) metres here, index by index; the source's pitch plays no
    /// part and what lies outside is left out. Neither origin counts: Add() does it by position.
    Lumora& Superimpose(Lumora& source, float dx, float dy);

    /// Fills a triangle given in metres (three points, z ignored) or by sample indices, cut at the grid's edges.
    /// Kept: samples on the edges belong to a triangle whose corners run clockwise (y upwards) and not to one that
    /// runs the other way. Coordinates are 32-bit numbers, products wrap around.
    /// @throws code 3, "LumoraLib::Lumora::PaintTriangle", "" unless there are three points.
    Lumora& PaintTriangle(const PointArray& points, const Complex& value);
    Lumora& PaintTriangle(int x1, int y1, int x2, int y2, int x3, int y3, const Complex& value);
    /// Fills the region of equal samples around (x, y), row by row upwards, then downwards from the sample below the
    /// seed; the grid's edge encloses a region, a seed outside does nothing. Kept: each row continues from one run of
    /// the row before, so a convex region is filled whole when the sample below the seed belongs to it too; of others,
    /// arms can be left out.
    Lumora& Paint(int x, int y, const Complex& value);
    /// Draws a line one sample wide between two indices of any size; what lies outside the grid is left out and costs
    /// nothing. Kept: the end it starts from, the one with the smaller coordinate along the longer side, is set only
    /// when it is (x2, y2).
    Lumora& DrawLine(int x1, int y1, int x2, int y2, const Complex& value);

    /// Puts the field into the centre of a grid 2^n times larger with zeros around it, so that a transform's circular
    /// convolution does not wrap around; a field of one row grows in x only. The window moves with the samples; the
    /// origin stays, since index (Nx/2, Ny/2) does. Any form. Memory: old and new samples at once.
    /// @throws code 3, "LumoraLib::Lumora::Embed", "" for a negative n; code 1 from Init. The field is then
    ///         unchanged.
    Lumora& Embed(int n);
    /// The same with a factor per axis; an axis of one sample never grows.
    Lumora& Embed(int nx, int ny);
    /// Cuts the centre block of 1/2^n of the size out (of one row, along x only) and sets the window to all of it.
    /// @throws code 3, "LumoraLib::Lumora::Extract", "" for a negative n, or when nothing would be left.
    Lumora& Extract(int n);

    // ------------------------------------------------------------------------------------------------------- Phase
    // Quantisation of amplitude and phase, random phase, lens phase: what turns a computed field into something a
    // device of few levels can show. They work on the whole grid; cartesian samples are converted to polar ones for
    // the loop and back. The loops run on the calling thread. On a grid without samples all end in code 6 and the
    // member's name.

    /// Pulls amplitudes within epsilon (in level steps) of one of `levels` equal levels from 0 to 1 onto it; above 1
    /// they end at 1, others stay. Fewer than 2 levels do nothing. Kept: a POLAR_SPECTRUM is left with cartesian
    /// samples and its flags as they were.
    /// @throws code 3, "LumoraLib::Lumora::PartialClipAmplitude", "out of range of epsilon" unless 0 <= epsilon <=
    ///         0.50001; code 6 from the form stack.
    Lumora& PartialClipAmplitude(int levels, double epsilon);
    /// The same for phases: `levels` equal steps of a turn, -pi being the level of +pi. Fewer than 1 level does
    /// nothing. Kept: levels are multiples of 3.1415926, not of pi.
    /// @throws code 3, "LumoraLib::Lumora::PartialClipPhase", "out of range of epsilon".
    Lumora& PartialClipPhase(int levels, double epsilon);
    /// Rounds amplitudes to the nearest of `levels` equal levels from 0 to 1; above 1 they end at 1. Forms as
    /// PartialClipAmplitude.
    Lumora& HardClipAmplitude(int levels);
    /// Rounds phases to the nearest of `levels` steps of a turn, -pi + 2 pi / levels ... pi (with the pi of
    /// PartialClipPhase). Of evenly spread phases L levels send (sin(pi / L) / (pi / L))^2 of the light into the wanted
    /// order: 0.41, 0.81, 0.99 for 2, 4, 16.
    Lumora& HardClipPhase(int levels);
    /// First members := 1, then ModRandomPhase(): a diffuse unit field. Kept: on cartesian samples the amplitude is
    /// sqrt(1 + im^2) of what was there; clear the field first for amplitude 1.
    /// @throws code 3, "LumoraLib::Lumora::SetRandomPhase", "" in form SPECTRUM.
    Lumora& SetRandomPhase();
    /// Replaces (in spite of its name) all phases by uniform random ones in -pi ... pi, amplitudes kept. The numbers
    /// come from the C library's rand(), which is never seeded here, column after column: equal seeds give equal
    /// fields.
    /// @throws code 3, "LumoraLib::Lumora::ModRandomPhase", "" in form SPECTRUM.
    Lumora& ModRandomPhase();
    /// Replaces the phases of cartesian samples by that of a thin lens of focal length f metres, -k (x^2 + y^2) / (2
    /// f); amplitudes stay. Sampled rightly up to |x| = lambda |f| / (2 Px). A negative f diverges.
    Lumora& SetQuadraticPhase(double f);

    // ------------------------------------------------------------------------------------------------- PhaseEncode
    // Complex fields as phases alone. All samples get amplitude 1, and the low frequencies of the result are those of
    // the field divided by a reference amplitude; a filter that keeps the field's band (a pinhole in the Fourier plane)
    // gives it back. Amplitudes above the reference count as the reference; 0 stands for the largest amplitude of the
    // grid, which makes the field darkest and truest. Any form and domain; the whole grid. For a chain to a device:
    // `field.EncodeDoublePhase().HardClipPhase(256)`, or `field.EncodeErrorDiffusion(256)`.

    /// Double phase: a sample of amplitude a (times the reference) and phase phi becomes the phase phi + acos(a) where
    /// i + j is even and phi - acos(a) where it is odd. The result is the field plus exp(i phi) sqrt(1 - a a) moved by
    /// half a sampling frequency on both axes; what of that reaches back into the field's band, from the phase's
    /// singular points above all, is its error: of random fields within 1/20, 1/10 and 1/5 of the band and with the
    /// reference 0 it is 0.5 %, 2 % and 9 %, where amplitudes left out make 30 %. Cost: one parallel sweep.
    /// Source: Appl. Opt. 17 (1978) 3874; in a checkerboard Opt. Lett. 39 (2014) 1740.
    /// @throws code 3, "LumoraLib::Lumora::EncodeDoublePhase", "the reference amplitude must be finite and not
    ///         negative".
    Lumora& EncodeDoublePhase(double reference = 0.0);
    /// Error diffusion: each sample becomes the unit phasor nearest to it, of any phase or of one of `levels` as
    /// HardClipPhase() has them (0: of any), and what is missing goes to the samples around that are still to come, 7,
    /// 3, 5 and 1 sixteenths of it, every second row from right to left. The error goes to high frequencies; of the
    /// fields above 4 %, 7 % and 14 % are left, with 4 levels as with all. On the calling thread, row after row;
    /// reports progress; cancelled, the samples are a mixture. Memory: 32 bytes a column.
    /// Source: Opt. Express 21 (2013) 23680.
    /// @throws code 3, "LumoraLib::Lumora::EncodeErrorDiffusion", the text above, or "levels must be 0 or from 2 to
    ///         65536".
    Lumora& EncodeErrorDiffusion(int levels = 0, double reference = 0.0);

    // ---------------------------------------------------------------------------------------------- PhaseRetrieval
    // Fields of given amplitudes in two planes.

    /// Replaces the amplitudes by those of `source` (any form and domain), times the one factor that keeps the energy
    /// of the grid; phases stay, of samples without light they count as 0. A source without light leaves zeros. Cost:
    /// three parallel sweeps, memory: 4 bytes a sample.
    /// @throws code 3, "LumoraLib::Lumora::ReplaceAmplitude", "sizes differ".
    Lumora& ReplaceAmplitude(const Lumora& source);
    /// Looks for phases with which this field, its amplitudes kept, has the amplitudes of `target` in another plane, by
    /// iterations from the phases that it has (random ones for diffuse pictures, SetQuadraticPhase() for smooth ones):
    /// to the other plane, the target's amplitudes in place of those found, the energies matched, and back, this
    /// field's amplitudes in place of those found. The error falls from one iteration to the next as long as the way
    /// back inverts the way there; it need not reach 0. Weighted: the amplitudes asked for are raised from iteration to
    /// iteration where the light was too weak, which evens out spots and pictures and leaves more light outside.
    ///
    /// Only samples change; pitches, window, place and form stay. Reports progress in iterations. Whatever ends the
    /// work early (a cancellation, an error or an exception in a function of `how`), the samples have the own
    /// amplitudes and the phases of the last whole iteration. Cost: two propagations and about five sweeps an
    /// iteration; memory: one field, 8 bytes a sample (weighted 12) and what the propagations take.
    /// Source: Optik 35 (1972) 237; weighted: Opt. Express 15 (2007) 1913, with a linear step.
    /// @throws "LumoraLib::Lumora::RetrievePhase", before anything is written: code 3, "iterations, feedback or
    ///         distance out of range", "forward and back must be given together", "sizes differ" (also when a function
    ///         changes the size). What the propagations throw.
    Lumora& RetrievePhase(const Lumora& target, const PhaseRetrieval& how);

    // --------------------------------------------------------------------------------------------------------- Fft
    // The transform of a field and back, centred, unnormalised.

    /// Transforms the field in place: X(m) = sum over n of x(n) exp(sign 2 pi i n m / N) on each axis, unscaled, the
    /// origin of both sides at index (Nx/2, Ny/2). Fft(-1) goes to the spectrum, Fft(1) comes back; the caller divides
    /// by Nx * Ny. Px becomes 1 / (Nx * Px), likewise Py unless the field has one row, and bit 0 of Form is flipped,
    /// whatever it was. Polar samples are converted and come back polar. Window, origin and normal stay.
    /// Accuracy: relative l2 error at most 2^-24 sqrt(log2(Nx * Ny)) with either own engine. Cost: the fast engine
    /// folds the quadrant exchanges into the transform and uses all threads; FftLib 0 exchanges by copies, on one
    /// thread.
    /// Axes are at most 2^29 samples long.
    /// Kept: one column (Nx = 1 with more than one row) is no supported transform; FftLib 0 mixes members across rows
    /// there.
    /// @throws code 3, "LumoraLib::Lumora::Fft", "FFT mode" for a sign that is neither 1 nor -1: the samples are then
    ///         already cartesian and bit 0 flipped; code 1, "LumoraLib::Malloc" for the engine's areas; code 6, "an
    ///         axis is longer than a transform takes (2^29 samples)". After the last two the field is as it was.
    /// Asks the progress handler before the rows and before the columns (FftLib 0: before every row). Cancelled before
    /// the first question is answered the field is as it was; later its samples are undefined and cartesian, sizes,
    /// pitches, domain and window those of before.
    Lumora& Fft(int sign);
    /// The same.
    Lumora& FFT(int sign);
    /// Changes pitches and flag as Fft does, for a caller who has the spectrum by other means. Kept: Py changes also
    /// for one row.
    Lumora& FakeFft();
    /// The same.
    Lumora& FakeFFT();
    /// Exchanges the quadrants diagonally (of one row the halves); nothing else changes. Twice is the identity.
    /// @throws code 1, "LumoraLib::Malloc", "demanded bytes = <size> : (null)" for the half row it takes.
    Lumora& SwitchQuadrant();

    // --------------------------------------------------------------------------------------------------- ScaledFFT
    // Transforms with a free output pitch by chirp convolution.

    // No member looks at bit 1 of Form: polar samples count as real and imaginary part. Windows and origins stay.
    // Memory: scratch of each thread with the fast engine, eight fields more with FftLib 0 (four with a descriptor).
    // Axes are at most 2^28 samples long (transforms of twice the length): code 6 otherwise, "an axis is longer than a
    // transform takes (2^29 samples)". A call that fails leaves its field as it was.

    /// Replaces the samples by U(k, l) = sum over i, j of u(i, j) exp(-2 pi i (a k i + b l j)), all indices from 0,
    /// unscaled; nothing but samples changes. a = 1 / Nx, b = 1 / Ny is the plain transform with sign -1; any values
    /// go. Cost: about three transforms with the fast engine. Kept: from index 46341 on the squares of the chirp wrap
    /// at 32 bits, so on longer axes the sum is right only where 2^31 a and 2^31 b are whole numbers. Source: L. I.
    /// Bluestein, IEEE Trans. Audio Electroacoust. 18 (1970) 451.
    Lumora& RawScaledFft(double a, double b);
    /// The same with the parameters of a descriptor made for this field's size, which is only read.
    /// @throws code 6, "LumoraLib::Lumora::RawScaledFft", "ScaledFftDescriptor is not compatible" for another size or
    ///         parameters that are not numbers.
    Lumora& RawScaledFft(const ScaledFftDescriptor& d);
    /// The sum along the one row of a field; its squares do not wrap.
    /// @throws code 3, "LumoraLib::Lumora::RawScaledFft1d", "" for more than one row.
    Lumora& RawScaledFft1d(double a);
    /// The transform with indices counted from the grid's centre and a free output pitch: Px becomes |a| / (Nx Px),
    /// likewise Py, and bit 0 of Form is flipped. Unscaled. For a < 0 the kernel along x is exp(-2 pi i |a| n k / Nx),
    /// as of Fft(-1). Kept: for a >= 0 it is the conjugate times exp(2 pi i a (k + n) + i pi a Nx), which is 1 for
    /// whole numbers only; likewise along y. Kept: a field of one column (Nx = 1) is handed to ScaledFft1d.
    /// @throws code 3, "LumoraLib::Lumora::ScaledFft1d", "this object must be 1 dimensional" for one column of several
    ///         rows.
    Lumora& ScaledFft(double a, double b);
    /// The same for the one row of a field; Py stays. @throws as ScaledFft, for more than one row.
    Lumora& ScaledFft1d(double a);
    /// Trial of a propagator over z (metres) between two one-row fields of different pitch: takes size, samples and
    /// wavelength of `source`, keeps its own Px. Kept: the result is mirrored (x for -x), also at equal pitches and the
    /// distance 0. Kept: each call writes the intermediate to the file "test1-4.csv" in
    /// the working directory; frequencies beyond 1 / wavelength give not-a-number. Other work: ShiftedFresnelProp.
    /// @throws code 3, "LumoraLib::Lumora::RawScaledFft1d", "" for a source of several rows; the errors of SaveAsCsv.
    Lumora& ScaledProp1d(const Lumora& source, double z);

    // --------------------------------------------------------------------------------------------------- Propagate
    // Propagation to parallel planes on one axis.

    // Distances are metres, of either sign; origin moves by the distance along the normal. The window stays. Without
    // memory (code 1) these members leave the field as it was. They ask the progress handler between their
    // passes: cancelled at the first question the field is as it was, at a later one its samples are undefined and all
    // else is as it was.

    /// Angular spectrum propagation of a spectrum: each sample times exp(i 2 pi d sqrt(1/lambda^2 - u^2 - v^2)), one
    /// sine and cosine for up to four samples. Kept: evanescent components pass with factor 1. The result is a
    /// cartesian spectrum.
    /// Source: J. W. Goodman, Introduction to Fourier Optics, section 3.10.
    /// @throws code 8, "LumoraLib::Lumora::RawAsmPropFs", "" on a real-space field: polar samples are cartesian by then
    ///         and the form says so; code 1, "LumoraLib::Malloc" for the row buffers: the field stays as it was.
    Lumora& RawAsmPropFs(double d);
    /// The same, then zero outside |u| <= 1 / (lambda sqrt((2 d du)^2 + 1)) and likewise for v, the frequencies up to
    /// which the transfer function is sampled finely enough. Kept: the upper ends of the index box are exclusive.
    /// Source: Optics Express 17 (2009) 19662-19673.
    /// @throws as RawAsmPropFs under its own name.
    Lumora& AsmPropFs(double d);
    /// Propagates a real-space field: transform, RawAsmPropFs, transform back, division by Nx * Ny. Pitches, size and
    /// sample form are those that came in. Valid while the diffracted field stays on the grid: what leaves one side
    /// comes in at the other.
    /// Cost: about two transforms with the fast engine, ten sweeps over memory with FftLib 0.
    /// @throws code 8, "LumoraLib::Lumora::RawAsmProp", ": RawAsmProp" on a spectrum.
    Lumora& RawAsmProp(double d);
    /// The same with the band limit of AsmPropFs: the form for every day. Errors as RawAsmProp under its own name.
    Lumora& AsmProp(double d);
    /// AsmProp on a grid embedded at twice the size (of one row, in x only), so that nothing wraps around. Valid while
    /// the band limit leaves waves enough, M = (2 W)^2 / (lambda d) of them on an axis with W = Nx Px: the relative
    /// error is some 1.2 to 5 divided by M for compact light in the middle, 1.6 to 2 divided by the root of M for light
    /// that fills grid and band (0.23 at M = 53). Beyond: ShiftedAsmProp(source, 2), also without a shift; Advise()
    /// tells. Memory: two fields more with the fast engine (kept for the next call, unless the system needs their
    /// pages), about five with FftLib 0. Errors as RawAsmProp under its own name; code 1 from Init.
    Lumora& ExactAsmProp(double d);
    /// Single-transform Fresnel propagation of a real-space field: quadratic phase, transform, quadratic phase and k d.
    /// The pitches become lambda d / (N p), negative for a negative d. The result is the bare sum: multiply by Px * Py
    /// / (lambda d) of the source (and -i) for the diffraction integral. Phases are rounded to float, so that samples
    /// with phases of 1e5 rad carry errors of 1e-2 rad. Valid where the quadratic phase of the source is sampled:
    /// lambda |d| >= N p p.
    /// Source: J. W. Goodman, Introduction to Fourier Optics, section 4.2.
    /// @throws code 8, "LumoraLib::Lumora::FresnelProp", "p" on a spectrum.
    Lumora& FresnelProp(double d);
    /// The transform and the pitches of FresnelProp without its phases (Fraunhofer), and the way back with the sign +1,
    /// which moves the origin by -d and gives the field times Nx * Ny.
    /// Source: J. W. Goodman, Introduction to Fourier Optics, section 4.3.
    /// @throws code 8, "LumoraLib::Lumora::FourierProp" or "LumoraLib::Lumora::BackFourierProp", "" on a spectrum.
    Lumora& FourierProp(double d);
    Lumora& BackFourierProp(double d);
    /// Old name of AsmProp, also in its errors.
    Lumora& SPWProp(double z);
    /// Kept for old callers: propagation without band limit, one sine and cosine per sample on the calling thread; the
    /// product of sample and factor is in double, rounded once, here and with a table. The result is not divided by
    /// Nx * Ny, the origin stays, and a polar field of one row comes back cartesian.
    /// @throws code 8, "LumoraLib::Lumora::_Old_SPWProp", "" on a spectrum.
    Lumora& _Old_SPWProp(double z);
    /// Kept for old callers: the transfer function on a spectrum, its values looked up in `table` (phase steps of 2 pi
    /// / N). The origin stays. Samples (0, Ny/2) and (Nx/2, 0) get their factor twice, and sample (0, 0) becomes
    /// not-a-number where it is evanescent.
    /// @throws code 8, "LumoraLib::Lumora::SPWPropFsTbl", "" on a real-space field, whose samples are then cartesian.
    Lumora& SPWPropFsTbl(double z, TrigTable table);

    // -------------------------------------------------------------------------------------------------- ShiftedAsm
    // Angular spectrum propagation to laterally shifted planes.

    // Called on the destination; place and distance come from the two origins and the common normal. Windows play no
    // part. Kept: the distance is an absolute value, so a destination behind the source gets what stands in front of
    // it; the shifts are differences of global x and y, also between tilted planes, where they are not the shifts along
    // the planes. Turn such a pair into the frame of its planes (normal (0, 0, 1), origins by GetLocalPosition of one
    // of the two) to get its true field. Bring polar samples into cartesian form first: their pairs are not converted
    // between the steps. A refused call, also for want of memory, leaves the destination as it was.

    /// Replaces the field by that of `source` at this place: spectrum of the source on a grid 2^precision times larger,
    /// times exp(2 pi i (x0 u + y0 v + z sqrt(1/lambda^2 - u^2 - v^2))) inside the band that the shift allows, back.
    /// All parameters but the origin are the source's afterwards, its window as well. A band outside the source's
    /// sampling gives zeros.
    ///
    /// Valid for ways between the two grids, |tan| from (x0 - W) / z to (x0 + W) / z with W = Nx Px and precision 1.
    /// Where lambda z exceeds W^2 / 8, too few waves are left; at a pitch below lambda / sqrt(2) the corners of the
    /// band can give not-a-number. Cost: about seven transforms; memory: 2^precision fields with the fast engine, kept
    /// as by ExactAsmProp, 4^precision with FftLib 0. Source: Optics Express 18 (2010) 18453.
    /// @throws "LumoraLib::Lumora::ShiftedAsmProp", before anything is written: code 6, "both objects must be in real
    ///         space"; code 3, "at least one parameter is different" (wavelength, size, pitch), "normal vector of the
    ///         destination is not same as the source", "precision must be more than zero". Code 1 from Init.
    Lumora& ShiftedAsmProp(const Lumora& source, int precision);
    /// The same, added to the samples; all parameters stay. Memory: one field more.
    /// @throws "LumoraLib::Lumora::ShiftedAsmPropAdd": code 6, "both objects are in real space" (which is what is asked
    ///         for); the parameters and the normal as above; pitches and precision under the name of ShiftedAsmProp.
    Lumora& ShiftedAsmPropAdd(const Lumora& source, int precision);
    /// The propagation between grids of different size, precision 1: along each axis the larger field is cut into tiles
    /// of the smaller one's size, and every pair of tiles is one propagation with a band limit of its own, which ends
    /// at the waves of the tile's rims. Valid for smooth light whose tiles have a Fresnel number (W / 2)^2 / (lambda z)
    /// above 26 (5e-5 there, 2e-2 at 10); sharp shapes are off by 2e-3 there and diffuse light by 4e-2: for those take
    /// ShiftedAsmProp(tile, 2) and Add() in a loop, or PropagateTo(). The destination is cleared when the first result
    /// is there. Memory: two tiles and one propagation.
    /// Kept: tiles lie side by side in their own planes, propagation and sum go by global x and y: on tilted planes the
    /// sum is not the undivided operation, and Add may refuse a tile whose plane rounding has set apart. A tile of one
    /// sample along an axis stands half a pitch beside the sample that it holds.
    /// @throws "LumoraLib::Lumora::ShiftedAsmPropAddEx", before anything is written: code 6, "both objects must be in
    ///         real space"; code 3, "the destination wavelength is different from the source" or the text about the
    ///         normal; pitches under the name of ShiftedAsmProp.
    Lumora& ShiftedAsmPropEx(const Lumora& source);
    /// The same, added. A tile that is refused, or finds no memory, and a cancellation between tiles leave the sum so
    /// far, in ShiftedAsmPropEx too; before the first result the field is unchanged.
    Lumora& ShiftedAsmPropAddEx(const Lumora& source);

    // ---------------------------------------------------------------------------------------------- ShiftedFresnel
    // Fresnel propagation between grids of any pitch and lateral position.

    // The Fresnel integral exp(ikz) / (i lambda z) times the sum of u exp(ik ((x - xi)^2 + (y - eta)^2) / 2z), from
    // grid to grid, both of any pitch and place: exact as a sum, in about three transforms. Called on the destination,
    // of which only samples change. No band limit and no test of sampling: the sampled source repeats every lambda z /
    // pitch, so lit source points and destination points must be within half of that of each other; the Fresnel phase
    // is off by k z theta^4 / 8. Kept: the distance is an absolute value; the places are global x and y, also between
    // tilted planes. A distance of 0 gives samples that are not finite. Windows play no part, polar samples count as
    // real and imaginary part. Memory: scratch of each thread with the fast engine, nine fields with FftLib 0 (four
    // beside a descriptor). A refused call, also for want of memory, leaves the destination as it was. Source: R. P.
    // Muffoletto, J. M. Tyler, J. E. Tohline, Opt. Express 15 (2007) 5631.

    /// Replaces the samples by the field of `source` at this place and pitch.
    /// @throws "LumoraLib::Lumora::ShiftedFresnelProp": code 6, "both objects are in real space" (which is what is
    ///         asked for); code 3, "at least one parameter is different" (wavelength, size), "normal vector of the
    ///         destination is not same as the source".
    Lumora& ShiftedFresnelProp(const Lumora& source);
    /// The same with the kernel of a descriptor, which is only read. Its samples count, also when they have been
    /// changed (by more than about 1e-5): the fast engine compares them with its parameters, one sweep over them, and
    /// goes step by step with those that differ.
    /// @throws code 6, "descriptor is not compatible" as well.
    Lumora& ShiftedFresnelProp(const Lumora& source, const ShiftedFresnelPropDescriptor& d);
    /// The same, added to the samples. Kept: a destination of one row is overwritten instead.
    /// @throws as above with the name "LumoraLib::Lumora::ShiftedFresnelPropAdd".
    Lumora& ShiftedFresnelPropAdd(const Lumora& source, const ShiftedFresnelPropDescriptor& d);
    /// Carries this field to a parallel plane at `position` (global, metres) with the pitches px and py (metres); they
    /// become its own, its sizes, window and normal stay.
    /// @throws code 6, "LumoraLib::Lumora::ShiftedFresnelProp", "object is in real space" (what is asked for).
    Lumora& ShiftedFresnelProp(const Vector& position, double px, double py);
    /// The same with a descriptor for the new pitches. @throws code 6, "descriptor is not compatible" as well.
    Lumora& ShiftedFresnelProp(const Vector& position, double px, double py, const ShiftedFresnelPropDescriptor& d);
    /// The propagation between grids of different size, added: along each axis the larger field is cut into tiles of
    /// the smaller one's size; all pairs of tiles share one kernel. Between planes with the normal (0, 0, 1) the sum
    /// over tiles of two samples or more along each axis is the undivided sum, up to rounding to float. Kept: on one
    /// row the last source tile replaces the others. Kept: on tilted planes, and with tiles of one sample along an
    /// axis, it is another field than the undivided operation, or refused by Add, as ShiftedAsmPropEx says.
    /// @throws "LumoraLib::Lumora::ShiftedFresnelPropAddEx", before anything is written: code 6, "both objects must be
    ///         in real space"; code 3, "the destination wavelength is different from the source", or the text about
    ///         the normal. At the distance 0: code 6, "descriptor is not compatible", from the first tile.
    Lumora& ShiftedFresnelPropAddEx(const Lumora& source);
    /// The same onto a destination that is cleared when the first result is there: at the distance 0 it keeps its
    /// samples.
    Lumora& ShiftedFresnelPropEx(const Lumora& source);
    /// From one row to one row, which the two-field forms above turn to for fields of one row.
    /// Kept: the factor in front is -i Px / sqrt(lambda z), whose phase is not that of the root of 1 / (i lambda z).
    /// @throws code 3, "LumoraLib::Lumora::ShiftedFresnelProp1d": "" for several rows, another wavelength or another
    ///         size; a Japanese text for another normal.
    Lumora& ShiftedFresnelProp1d(const Lumora& source);

    // ---------------------------------------------------------------------------------------------------- Rotation
    // Fields on tilted planes through the same origin, by rotation of the angular spectrum: a plane wave keeps its
    // identity, only its frequency vector (u, v, w) on the sphere of radius 1 / lambda is turned. No distance is
    // involved; propagate before or after. (J. Opt. Soc. Am. A 20 (2003) 1755.)
    //
    // The spectrum on the tilted plane is stored relative to the carrier, the frequency that the wave along the
    // source's axis has in the destination's coordinates: `rotation` turns source coordinates into destination
    // coordinates, and carrier = rotation * (0, 0, 1 / lambda). The field that results lacks the factor exp(2 pi i (u x
    // + v y)) of the carrier; multiply it in (MultiplyPlaneWave) before a plane wave's true direction matters, e.g.
    // before the field goes on. x and y count from the field's own centre here and from the global axis there: with an
    // origin (Ox, Oy) aside the product has the phase 2 pi (u Ox + v Oy) too much: give it the negative of that. Valid
    // while the turned band fits the destination's: a bandwidth of 1 / pitch about the carrier, and no wave beyond 90
    // degrees from the destination's normal.

    /// This field := `source` on the plane that `rotation` describes, in real space. Grid and pitches are this object's
    /// own; origin is the source's, the normal is turned, the window becomes the whole grid; k and form stay. The
    /// spectrum is read between its samples, whose phase turns the faster the farther light lies from the middle:
    /// CUBIC4 and BICUBIC, made for smooth values, do worse there than LINEAR (1.8e-3 against 6e-4 in a measured case):
    /// take CUBIC8_INTERPOL, and leave the outer quarter of the grid empty.
    /// Kept: the normal is multiplied by the inverse of `rotation` from the left, the global side. After one rotation
    /// that is the plane's true normal; after two about different axes the factors stand in the other order (0.21
    /// degrees off for 10 and 10 degrees): set it with SetNormalVector() then. With
    /// `jacobian` the samples are weighted with the change of the frequency element. In either case the spectrum is
    /// scaled to the energy of the source's: the sums over the fields differ by the ratio of their sample counts.
    /// `carrier` may be null.
    /// Kept: the disc of frequencies that is filled is centred on the grid frequency 0, not on the true one; a result
    /// without any light becomes not-a-number.
    /// Kept: with one row (Ny = 1) Py comes back as 1 / Py, since the transform of a row leaves it.
    /// @throws code 8, "LumoraLib::Lumora::Rotate", "this object must be in real space"; code 3, the same, "source must
    ///         be in real space"; what GetInterpolFunc() throws, origin and normal being changed by then, as by
    ///         RotateFs; code 6 without samples. Without memory the field is as it was.
    /// Cost: two transforms and one interpolation a sample. Memory: a copy of the source.
    Lumora& Rotate(const Lumora& source, RMatrix& rotation, SFrequency* carrier, Interpol interpol, bool jacobian);
    /// The same on spectra, without transforms.
    /// @throws code 8, "LumoraLib::Lumora::RotateFs", "this object must be in Fourier space"; code 3, the same, "source
    ///         must be in Fourier space"; what GetInterpolFunc() throws, after origin and normal have changed.
    Lumora& RotateFs(const Lumora& source, RMatrix& rotation, SFrequency* carrier, Interpol interpol, bool jacobian);
    /// The older form: this spectrum is the source, `refPlane` receives the rotated one, read with the 4-point cubic on
    /// one thread, without Jacobian and without the disc; evanescent points are looked up with w = 0. The windows of
    /// both become the whole grid. Returns the carrier.
    /// @throws code 8, "LumoraLib::Lumora::GetRotationFs", "*this must be in Fourier space"; code 3, the same,
    ///         "refPlane must be in Fourier space".
    SFrequency GetRotationFs(Lumora& refPlane, RMatrix& rotation);
    /// Back to the global axes: `dest` := this spectrum on the plane through the same origin with the normal (0, 0, 1),
    /// by the nearest samples, energies equal, on one thread. The windows of both become the whole grid. Returns the
    /// carrier in this spectrum's coordinates, which is taken off there.
    /// @throws code 8, "LumoraLib::Lumora::GetRotationParaFs", "*this must be in Fourier space"; code 3, the same,
    ///         "dest must be in Fourier space".
    SFrequency GetRotationParaFs(Lumora& dest);
    /// This field turned about its y axis by `angle` (radians), in place: Px becomes the pitch that the turned band
    /// asks for, everything else of the geometry stays (origin and normal too). Weighted with the Jacobian, energies
    /// not matched. *carrier (may be null) receives the frequency of the new band's centre in x.
    /// Kept: a band end beyond the circle of radius 1 / lambda counts with w = -1, and the new pitch follows from that.
    /// @throws "LumoraLib::Lumora::RotateY", ": RotateY": code 8 on a spectrum, code 7 on polar samples; code 6 without
    ///         samples.
    Lumora& RotateY(double angle, double* carrier);
    /// The same on a spectrum, on one thread, by CubicInterpolX with the selector `kernel`; `interpol` is not read.
    /// @throws code 3, "LumoraLib::Lumora::RotateYFs", "" unless Form is SPECTRUM; what CubicInterpolX throws, the
    ///         field being as it was.
    Lumora& RotateYFs(double angle, Interpol interpol, int kernel, double* carrier);
    /// The same for a field of one row, with the 8-point cubic and without Jacobian. Kept: not divided by Nx.
    /// @throws code 3, "LumoraLib::Lumora::Rotate1d", "" unless Ny = 1 and Form is COMPLEX_AMPLITUDE.
    Lumora& Rotate1d(double angle);
    /// On the spectrum of one row: `interpol` CUBIC_INTERPOL (with the selector `kernel`) or SINC_INTERPOL.
    /// Kept: any other chooser gives zeros without error, and evanescent frequencies are not cut.
    /// @throws code 3, "LumoraLib::Lumora::RotateSpec1d", "" unless Ny = 1 and Form is SPECTRUM.
    Lumora& RotateSpec1d(double angle, Interpol interpol, int kernel);
    /// w = sqrt(1 / lambda^2 - u^2 - v^2) in cycles per metre. Kept: -1, used as a number, where the radicand is not >
    /// 0.
    double ww(double u, double v) const;
    /// The frequency u on a plane turned by `angle` about y (u cos a - w sin a), and the way back (u cos a + w sin a).
    double uh(double u, double v, double angle) const;
    double uu(double u, double v, double angle) const;
    double uh(double u, double angle) const;
    double uu(double u, double angle) const;

    // ------------------------------------------------------------------------------------------------------- Stack
    // One field at many distances.

    /// The field at `count` distances (metres, of either sign, in any order) along its normal, one after the other: one
    /// transform to the spectrum, and for each plane one back. `each` sees every plane as a field of this one's sizes,
    /// pitches, form, window and normal, its origin moved by the distance; this field does not change.
    ///
    /// Samples are those of `count` calls of AsmProp() or ExactAsmProp() on copies, bit for bit; on the fast engine
    /// columns above 16384 samples (doubled for STACK_EXACT_ASM) are transformed in other steps, which differ in the
    /// rounding of the transforms. Valid where these members are. Kept: a plane at distance 0 has been to the spectrum
    /// and back too.
    ///
    /// Cost: about two thirds of the single calls, four fifths to nine tenths for STACK_EXACT_ASM. Memory beside this
    /// field: the plane and its spectrum, 8 bytes a sample each, for STACK_EXACT_ASM the plane and six fields more;
    /// where the band limit cuts the spectrum at every distance, only what it leaves. All but the plane is kept for the
    /// next call, unless the system needs the pages. Reports progress in planes, and is cancelled between and inside
    /// them.
    /// @returns how many planes `each` has seen
    /// @throws "LumoraLib::Lumora::PropagateStack": code 3, "no distances, or no function for the planes" (with a count
    ///         above 0), "no such propagator"; code 8, ": PropagateStack" on a spectrum; code 6 without samples; code 1
    ///         without memory; code 6, "cancelled", by the progress handler. What `each`
    ///         throws passes.
    std::size_t PropagateStack(const double* distances, std::size_t count, const StackPlane& each,
                               StackPropagator propagator = STACK_ASM) const;
    /// GetFocusMeasure() of each of these planes, in this field's window, for finding the distance at which something
    /// is sharp. No plane is kept. Errors as PropagateStack and in its name, with code 3, "no such measure" and code 1,
    /// "not enough memory for the measures".
    std::vector<double> MeasureStack(const double* distances, std::size_t count, FocusMeasure measure,
                                     StackPropagator propagator = STACK_ASM) const;

    // ------------------------------------------------------------------------------------------------- PointSource
    // Fields of point sources, at four trade-offs of speed and exactness. Each call adds the wave of one source, in
    // single precision, to cartesian field samples (Form 0); the window of the field is not looked at. Lengths are
    // metres, phases radians. `window` cuts the wave down to the patch that the sampling can carry, so that no aliased
    // fringes are added and little is computed; a source whose patch misses the grid adds nothing. With private fields
    // several threads of the application may add at the same time, as long as the Init has been done.
    //
    // Family     distance         phase factor            amplitude  position        samples per second
    // exact      root per sample  sine, cosine per sample amp / r    as given        5e8
    // Sqr, SQR   root per sample  1024 steps a turn       amp / |z|  nearest sample  1.5e9
    // RF         recurrence       1024 steps a turn       amp / z    as given        1.9e9
    //
    // The speeds are those of one core with AVX-512 at 3.7 GHz: to compare the families, not to rely on.

    /// Adds amp / r exp(i (k r + phase)) of a source at the global position p, r from each sample to p. The patch is
    /// the samples within |z| tan(asin(lambda / (2 pitch))) of the source on each axis, z the source's distance from
    /// the plane; `window` weights it: 1, a triangle or a raised cosine, the product over both axes. Defaults: phase 0,
    /// amp 1, WINDOW_RECT. Runs on the library's thread count; the samples do not depend on it.
    /// @throws "LumoraLib::Lumora::AddSphericalWave": code 3, ":incorrect form" unless Form is 0; code 6, "designated
    ///         WindowFunc is not implemented at this version. " for WINDOW_NONE and unknown values; code 6 without
    ///         samples.
    /// Valid for any distance up to about 1e8 wavelengths, where k r in double is still good to 1e-7 rad. A pitch below
    /// half a wavelength has no such patch and adds nothing, as does a source in the plane (z = 0).
    Lumora& AddSphericalWave(Vector p);
    Lumora& AddSphericalWave(Vector p, LumoraLib::Phase phase, double amp);
    Lumora& AddSphericalWave(Vector p, LumoraLib::Phase phase, double amp, WindowFunc window);
    /// The same at the local position (x, y, z), without phase, on the calling thread.
    /// Kept: k r is rounded to single precision before the sine and cosine; its step is 0.06 rad at 0.1 m (k = 1e7), so
    /// use the Vector form where that matters.
    Lumora& AddSphericalWave(double x, double y, double z, double amp, WindowFunc window);
    /// Clears the field, whatever form it was in, and adds the source. Errors as above but for the form, with the name
    /// "LumoraLib::Lumora::SetSphericalWave"; a refused call leaves the field as it was.
    Lumora& SetSphericalWave(double x, double y, double z, double amp, WindowFunc window);
    /// Adds a source by table: the distance is exact, the phase k r in steps of 1/1024 turn (truncated), the amplitude
    /// amp / |z| all over the patch. Coordinates are global along the axes, the field's origin is subtracted, its
    /// normal is not looked at. On the calling thread. A diverging wave (z below the origin's) has the phase +k r.
    /// @param d  made for the field's wavelength and for Px as both pitches, compared exactly
    /// @param phase  radians for a diverging wave. Kept: for a converging one (z above the origin's z) table steps,
    ///        1024 to a turn, and the phase is -k r
    /// @param window  WINDOW_NONE for the whole grid, WINDOW_RECT for the patch between d's tangents times |z|
    /// @throws "LumoraLib::Lumora::AddSphericalWaveSqr": code 3, "incorrect form" unless Form is 0; code 6,
    ///         "Dscriptor error" when d does not match; code 6, "designated WindowFunc is not implemented at this
    ///         version. " for other windows; code 6 without samples.
    /// Kept: the source is moved onto the nearest sample in x and y; amplitude and patch follow the argument z, not the
    /// distance from the plane (z = 0 divides by zero); d.py is compared with Px, and Py is not consulted. Valid below
    /// 2^21 wavelengths from the source; beyond, every sample gets the factor 1.
    Lumora& AddSphericalWaveSqr(const SphericalWaveDescriptor& d, double x, double y, double z, double amp,
                                double phase, WindowFunc window);
    /// Makes the library-wide table for AddSphericalWaveSQR from this field's wavelength and pitches, as the
    /// constructor of SphericalWaveDescriptor does. To be done before any thread adds; the table stays until the next
    /// Init of either kind.
    void InitSphericalWaveSQR(Vector direction);
    /// AddSphericalWaveSqr with the library-wide table. That this field has the wavelength and pitches of the one that
    /// made it is the caller's part: nothing is compared.
    /// @throws "LumoraLib::Lumora::AddSphericalWaveSQR": as AddSphericalWaveSqr, but code 6,
    ///         "InitSphericalWaveSQR() must be prior to this function" while no Init of either kind has been done.
    Lumora& AddSphericalWaveSQR(double x, double y, double z, double amp, double phase, WindowFunc window);
    /// Makes the library-wide table for AddSphericalWaveRF from this field's wavelength and pitches, for a reference
    /// wave at the angles (radians) to the normal. Kept: it shares table and flag with InitSphericalWaveSQR, but stores
    /// angles where that one stores tangents; an Add after the wrong Init runs with wrong limits.
    void InitSphericalWaveRF(double angleX, double angleY);
    /// Adds a source at the local position (x, y, z) without a root inside a row: r + c / r follows r, where c is half
    /// the difference of two neighbouring squares, and 1 / r comes from one Newton step. On the calling thread. Phase
    /// +k r in steps of 1/1024 turn; to it adds the drift of the recurrence: at the distance d along the row a path too
    /// long by up to Px (asinh(d / h) - d / r) / 2, h the source's distance from the row.
    /// @param window  WINDOW_NONE for the whole grid, WINDOW_RECT for the patch between tan(limit) times z
    /// @throws "LumoraLib::Lumora::AddSphericalWaveRF": as AddSphericalWaveSqr without the descriptor, but code 6,
    ///         "InitSphericalWaveRF() must be prior to this function" while no Init of either kind has been done.
    /// Kept: rows run in pairs, and the last one of an odd number is left out; a row runs out from the source's column,
    /// also where the patch lies to one side of it; the origin is not subtracted; the amplitude has the sign of z, and
    /// with a negative z WINDOW_RECT leaves nothing, since the limits of an axis change places. Valid below 2^21
    /// wavelengths.
    Lumora& AddSphericalWaveRF(double x, double y, double z, double amp, double phase, WindowFunc window);

    // -------------------------------------------------------------------------------------------------- PointCloud
    // Light of many points at once, in single precision, added to cartesian field samples (Form 0); the window of the
    // field is not looked at. See docs/points.md beside the members above.

    /// Adds the light of `count` points. A point behind the plane (local z below 0) gives the diverging wave
    /// amplitude / r exp(i (k r + phase)), one in front the converging wave amplitude / r exp(i (phase - k r)), both
    /// with the soft edge of the sampling's band: with f = (u, v) in cycles per metre, w = sqrt(1 / lambda^2 - u^2 -
    /// v^2), s = 1 behind and -1 in front,
    ///   s i amplitude exp(i phase) integral E(u) E(v) exp(2 pi i (u (x - x0) + v (y - y0) - w z0)) / w du dv,
    /// where E is 1 up to (1 - edge) and 0 from 1 times 1 / (2 pitch), at most 0.65 / lambda, and falls in between as
    /// erfc(2.4 t / sqrt(1 - 0.98 t^2)) / 2, t from -1 to 1. Both methods sum this light; their difference is below the
    /// tolerance.
    /// @param points   coordinates in metres, as options.frame says; phases in radians. Order and duplicates do not
    ///                 matter, nor do points beside the field; zero amplitudes add nothing. null with a count of 0
    /// @param options  tolerance (relative l2 error over the field for points of random phases), edge, method, memory
    /// @throws "LumoraLib::Lumora::AddPointCloud": code 3, "incorrect form" unless Form is 0; code 3 for options
    ///         outside their ranges, for pitches below 1e-6 or above 1e6 wavelengths, for "point <index> is not a
    ///         finite number", "point <index> lies in the plane of the field" (closer than lambda / 1000) and "point
    ///         <index> lies too far from the plane of the field" (1e11 wavelengths); code 1, "no method fits the memory
    ///         and the tolerance"; code 6 without samples; code 6, "cancelled", by the progress handler. Code 1 of
    ///         "LumoraLib::Malloc" where memory is missing. The field is unchanged in all of them.
    /// Runs on the library's thread count; the samples do not depend on it, nor on the instruction set. What it takes
    /// beforehand: PlanPointCloud(). Valid from about a wavelength to kilometres. Source: SIAM J. Sci. Comput. 41
    /// (2019) C479, section 1 (spreading and dividing the kernel out), Optics Express 17 (2009) 19662, section 3 (light
    /// that would wrap around); docs/points.md.
    Lumora& AddPointCloud(const CloudPoint* points, std::int64_t count, const CloudOptions& options);
    Lumora& AddPointCloud(const CloudPoint* points, std::int64_t count);
    /// What AddPointCloud() with the same arguments would do, without doing it: a look at every point and the cost
    /// model. Errors as there, and in its name.
    CloudPlan PlanPointCloud(const CloudPoint* points, std::int64_t count, const CloudOptions& options) const;

    // -------------------------------------------------------------------------------------------------------- File
    // LW, DE and CA files, and text exports.
    //
    // All of them: a short read is Error code 5, "eread", the path; a write that did not reach the file, noticed at the
    // latest when it is closed, is code 4, "ewrite", the path. The file is closed on every path. A path that leads to a
    // folder does not open (code 2).
    //
    // Savers empty the file at the path and write it in place, and leave the last bytes to the system (no fsync): a
    // save that fails or is killed costs the version that was there, a loss of power may. WholeFile is the safe way.
    //
    // State after a failure, for every loader: up to and including the refusal of a head the field is wholly as it was,
    // form included. Refused are sizes below 0 or above 2^30, and those whose raised grid takes more than 256 MiB and
    // more than four times the file's length (code 5, "eread", the path); also a grid that there is no memory for (code
    // 1, from Init). A file that ends before its samples do is loaded as far as it goes, all parameters with it;
    // samples that it does not hold are zero, and then it is reported.

    /// The whole field as an LW file: a 27-byte head with wavelength and pitches in single precision, then the samples.
    /// No position, no form. `option` must be null.
    /// @throws code 7, "LumoraLib::Lumora::SaveAsLw", path on polar samples; code 2, path when the file cannot be
    ///         created; code 9 on a non-null option, when the file is there already.
    void SaveAsLw(const char* path, const OptionHead* option) const;
    void SaveAsLW(const char* path, const OptionHead* option) const;
    /// The same with the window's samples (its part inside the grid) and the window's sizes. Only sizes that are powers
    /// of two can be loaded back. Errors name "LumoraLib::Lumora::WinSaveAsLw", also from the second spelling.
    void WinSaveAsLw(const char* path, const OptionHead* option) const;
    void WinSaveAsLW(const char* path, const OptionHead* option) const;
    /// Replaces sizes, pitches, wavelength and samples by those of an LW file; form becomes 0, the window the whole
    /// grid; origin and normal stay. `option` may be null; otherwise it is refused when the file's option flag is 1.
    /// Validity: wavelength and pitches carry single precision. Kept: the raised grid is read, so sizes that are not
    /// powers of two end in a read failure.
    /// @throws code 3, "LumoraLib::Lumora::LoadLw" and a Japanese text when Form is exactly 1; code 2, path when the
    ///         file cannot be opened, is no LW file or names a sample position below 0; code 9 on a refused option.
    Lumora& LoadLw(const char* path, OptionHead* option);
    Lumora& LoadLW(const char* path, OptionHead* option);
    /// Multiplies linear sample n by the file's sample n; form, window and parameters stay, the file's sizes need not
    /// agree: as many samples as both have. Memory: one block of 64 KiB. A short read leaves the samples before it
    /// multiplied; every other failure leaves the field as it was.
    /// @throws code 3, "LumoraLib::Lumora::MultiplyFileLW", path on polar samples; otherwise as LoadLw.
    Lumora& MultiplyFileLW(const char* path, const OptionHead* option);
    /// Adds the file's sample n to linear sample n in single precision and sets form to 0; otherwise as MultiplyFileLW.
    /// Kept: refuses form 1 (code 3, "LumoraLib::Lumora::SuperimposeFileLW", path) but takes polar samples, whose two
    /// members are added as they stand.
    Lumora& SuperimposeFileLW(const char* path, const OptionHead* option);
    /// The whole field as a DE file: sizes, pitches in single precision, the window, the samples. No wavelength, no
    /// position.
    /// @throws code 7, "LumoraLib::Lumora::SaveAsDE", "err" on polar samples; code 2, path when it cannot be created.
    void SaveAsDE(const char* path) const;
    void SaveAsCA(const char* path) const;
    /// Replaces sizes, pitches, window and samples by those of a DE file; form becomes 0; wavelength, origin and normal
    /// stay. A field whose sizes are not powers of two comes to lie centred in the raised grid, zeros around it. Kept:
    /// the window stays as stored, also there.
    /// @throws code 3, "LumoraLib::Lumora::LoadDE", path when Form is exactly 1; code 2, path when the file cannot be
    ///         opened or is no DE file. LoadCA names the same function.
    Lumora& LoadDE(const char* path);
    Lumora& LoadCA(const char* path);
    /// Adds the file's sample n to linear sample n in single precision, for as many samples as both have; nothing else
    /// changes, and form and sizes are not tested.
    /// @throws code 2, "LumoraLib::Lumora::SuperimposeFileDE", the path or "wrong format"; the same from
    ///         SuperimposeFileCA.
    Lumora& SuperimposeFileDE(const char* path);
    Lumora& SuperimposeFileCA(const char* path);
    /// Profile along a row (X_AXIS, `index` a row) or a column (any other axis, `index` a column), within the window: a
    /// heading, then lines of coordinate (metres, %g), real, imaginary, amplitude, phase, intensity. A decimal point in
    /// every locale.
    /// @throws code 7, "LumoraLib::Lumora::SaveAsCsv", path when Form is exactly 2 (a polar spectrum is written as if
    ///         cartesian); code 2, path; code 3, path for an index outside the grid, which leaves an empty file.
    void SaveAsCsv(const char* path, Axis axis, int index) const;
    /// SaveAsCsv along x, also in its errors.
    void SaveAsCSV(const char* path, int row) const;
    /// The values of SaveAsCsv() along row `row` in columns of 20 characters, without a heading.
    /// @throws code 7 and code 3 (before the file is created), code 2: "LumoraLib::Lumora::SaveAsText", path.
    void SaveAsText(const char* path, int row) const;
    /// Plain text field: heading, the window's width and height, a line "(re, im)" for each of its samples.
    /// @throws code 7, "LumoraLib::Lumora::SaveAsPTF", "err" on polar samples; code 2, path.
    void SaveAsPTF(const char* path) const;
    /// Reads "Nx,Ny" and then a line "re,im" for each sample of the raised grid, row by row; form becomes 0, window and
    /// parameters stay. A list that ends early leaves the remaining samples as they were (undefined where the buffer
    /// grew); blank lines may stand at its end. Lines have at most 200 characters. Memory: at most 256 MiB or 32 bytes
    /// for each byte of the file, whichever is more.
    /// @throws code 3, "LumoraLib::Lumora::LoadCSV", path when Form is exactly 1, the file is empty, its first line has
    ///         no comma, or the sizes are below 0, above 2^30 or out of all proportion to the file; code 2, path: the
    ///         field is as it was then. Code 3 for a later line without a comma (a blank one with samples behind it
    ///         too), code 5, "eread", path when the file cannot be read on: the samples before are loaded, the others
    ///         zero.
    Lumora& LoadCSV(const char* path);

    // ------------------------------------------------------------------------------------------------------ FileLm
    // The LM container: single, multi-part and segmented files.
    //
    // All of them: Error names the operation; the message is the path, or "path : detail". Code 2: the file cannot be
    // opened (a folder cannot), or is of another type; code 3: an index or a size does not fit; code 5: "seek error",
    // "tell error", or with the path alone a short read; code 4: what was written did not reach the file. The file is
    // closed on every path. Any form is taken:
    // samples travel as they stand, bit 0 of the form with them, and bit 1 stays the receiver's. Transfers run at the
    // system's speed in calls of at most 64 MiB and need no memory beyond the samples. One file is used from one thread
    // at a time.
    //
    // State after a failure of a load, also of parameters alone: as told for LW and DE above, with the path alone as
    // the message of a refused size; heads are read and checked before anything of them goes into the field. `exists`
    // may have been set.
    //
    // Saves are not flushed to the disk: after a loss of power any of the bytes of the last saves may be missing, in
    // any order. WholeFile, SaveWhole and UpdateWhole are the safe way.

    /// Replaces parameters and samples by those of a single file; the window becomes the whole grid. Stored sizes that
    /// are not powers of two come to lie centred in the raised grid, zeros around them.
    Lumora& LoadLm(const char* path);
    /// All samples and the parameters (form bit 0, wavelength, sizes, pitches, origin, normal) as a single file.
    void SaveAsLm(const char* path) const;
    /// The same with the samples of the window (its part inside the grid) only.
    /// Kept: the head is the whole field's, so the file of a smaller window announces more samples than it holds and
    /// loading it ends in a read failure.
    void WinSaveAsLm(const char* path) const;
    /// As LoadLm, from part `index` of a multi-part file. `exists` (may be null) tells whether the part was ever
    /// written; if not, the field stays as it is.
    Lumora& LoadMpLm(const char* path, std::uint16_t index, bool* exists);
    /// The part's parameters alone: sizes as stored, not raised, and no samples. While the sizes announce more samples
    /// than the buffer holds, operations on all samples are refused until Init (access to single ones is not checked);
    /// otherwise the old samples count, in rows of the new length. Call Init and set samples before the field is used
    /// as one.
    Lumora& LoadParamMpLm(const char* path, std::uint16_t index, bool* exists);
    /// Stores the field as part `index` of a file made by CreateFileMpLm. A part that exists must have this field's
    /// sizes and is overwritten in place: a save that fails or is killed then leaves a mixture of both versions
    /// (UpdateWhole leaves one or the other). A new part is appended and shows only once it is complete: a save that
    /// fails or is killed leaves every other part as it was and the new one absent.
    void SaveAsMpLm(const char* path, std::uint16_t index) const;
    /// Replaces parameters and samples by those of segment (ix, iy): the common parameters, the origin moved by the
    /// segment's displacement along global x and y. `exists` as in LoadMpLm. Kept: the window stays as it is, and the
    /// raised grid is read, so stored sizes that are not powers of two end in a read failure or take what stands
    /// behind.
    Lumora& LoadSegLm(const char* path, std::uint16_t ix, std::uint16_t iy, bool* exists);
    /// The segment's parameters alone, as in LoadParamMpLm. Code 3 while no segment has been saved into the file.
    /// Kept: `exists` is reliable for segment (0, 0) only; LoadSegLm tells for every one.
    Lumora& LoadParamSegLm(const char* path, std::uint16_t ix, std::uint16_t iy, bool* exists);
    /// Stores the samples as segment (ix, iy) of a file made by CreateFileSegLm. The first save fixes the file's common
    /// parameters, its origin being the centre of the whole grid wherever the segment lies; later ones must agree in
    /// sizes, pitches and wavelength exactly and in the normal within the position tolerance. A field without samples
    /// is refused (code 6). Failing and killed saves as in SaveAsMpLm, also over an existing segment.
    void SaveAsSegLm(const char* path, std::uint16_t ix, std::uint16_t iy) const;
    /// Overwrites the common parameters of a segmented file by this field's, sizes included, with no comparison, in
    /// place: a save that fails or is killed can leave half of them.
    void SaveParamSegLm(const char* path) const;

    // ----------------------------------------------------------------------------------------------------- FileNpy
    // NPY files: arrays as NumPy keeps them. A file holds sizes and samples alone: no pitches, no wavelength, no place,
    // no form. Row 0 of the array is row j = 0 of the field, the one with the smallest y, and the second index runs
    // along x; a viewer that shows row 0 on top shows +y downward.

    /// The whole field as an array of shape (Ny, Nx) and dtype complex64: format version 1.0, little-endian, C order.
    /// A spectrum is written as it stands, frequency zero at [Ny/2, Nx/2]. How the file is written, and its errors, are
    /// those of the savers above.
    /// @throws code 7, "LumoraLib::Lumora::SaveNpy", path on polar samples; code 2, path when the file cannot be
    ///         created; code 6 without samples; code 4, "ewrite", path.
    void SaveNpy(const char* path) const;
    /// The same with the window's samples (its part inside the grid) and sizes. Errors name
    /// "LumoraLib::Lumora::WinSaveNpy".
    void WinSaveNpy(const char* path) const;
    /// Replaces sizes, samples and window by an array of one axis (a row) or two, (rows, columns), of dtype complex64,
    /// complex128, float32 or float64, little-endian: complex numbers rounded once to single precision, real ones as
    /// amplitudes with imaginary part 0. Versions 1.0, 2.0 and 3.0, C or Fortran order, whatever stands behind the
    /// array. Sizes are raised to powers of two: column x of the array comes to stand at (Nx - columns) / 2 + x,
    /// rounded down, rows likewise, zeros around them, and the window is set to the array, so that WinSaveNpy() writes
    /// it back. Samples are cartesian then; domain, pitches, wavelength, origin and normal stay as they are. Reports
    /// progress in samples.
    /// @throws "LumoraLib::Lumora::LoadNpy": code 2, path (cannot be opened, no NPY file); code 5, "the version of the
    ///         NPY file is unknown", "the head of the NPY file cannot be understood" (also above 4096 bytes), "the
    ///         array must be little-endian complex64, complex128, float32 or float64", "the array must have one or two
    ///         axes". Code 5, "eread", path when the file is shorter than its head says, or a size is above 2^30: found
    ///         before memory is asked for. A refused file, and one that there is no memory for, leave the field as it
    ///         was. When the device itself fails while samples are read, or the load is cancelled, the missing ones are
    ///         zero.
    /// Memory: at most 4 bytes for each byte of a complex64 file, 8 of a float32 one, and 64 KiB. Source: NumPy
    /// Enhancement Proposal 1.
    Lumora& LoadNpy(const char* path);

    // --------------------------------------------------------------------------------------------------------- Bmp
    // 8-bit pictures: BMP, and the HBI and RAW formats. A Mode says which quantity of a sample a picture shows.

    /// Saves the window (its part inside the grid; an empty one gives a picture of size 0) as an 8-bit indexed BMP,
    /// bottom row first, so that up in the picture is +y. Any form and domain; the field is not changed.
    ///
    /// With min = max = 0 the range is the mode's own, fixed and not taken from the data: 0..1 for intensity, amplitude
    /// and log intensity, -1..1 for real and imaginary part, -pi..pi for phases; otherwise min is black and max is
    /// white. Values outside are clipped, also those beyond 2^31 steps of the range, not-a-number is black. Log
    /// intensity is log2(1 + I) of cartesian samples but (log10(I) + 1) / log10(2) of polar ones. A masked phase is 0
    /// (mid-grey) where the amplitude is under 1 % of the window's maximum. A mode outside the list is black in its own
    /// range. The resolution fields hold samples per metre.
    /// @param gradation  0 grey, anything else rainbow (violet lowest, red highest)
    /// @param bar  width of the scale at the right edge in pixels: its last bar - 1 columns are drawn, none for 0 and 1
    /// @throws "LumoraLib::Lumora::WinSaveAsBMPEx" for every BMP saver: code 2, the path, when it cannot be opened;
    ///         code 3 when min > max (the file is emptied by then); code 6 without samples. Code 4, "ewrite", the path,
    ///         on a short write.
    /// Memory: about 2 MiB and one row.
    void WinSaveAsBMPEx(const char* path, Mode mode, double min, double max, Gradation gradation, int bar) const;
    /// As WinSaveAsBMPEx(); note the order max, min.
    void WinSaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar, double max, double min) const;
    /// As WinSaveAsBMPEx() in the mode's own range; without a bar argument a rainbow has bar 10, a grey picture none.
    void WinSaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar) const;
    void WinSaveAsBmp(const char* path, Mode mode, Gradation gradation) const;
    /// As WinSaveAsBMPEx() with a bar of 10: in rainbow colours (...BMPC) and in grey (...BMP).
    void WinSaveAsBMPC(const char* path, Mode mode, double min, double max) const;
    void WinSaveAsBMP(const char* path, Mode mode, double min, double max) const;
    /// The same six for the whole grid, whatever the window.
    void SaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar, double max, double min) const;
    void SaveAsBmp(const char* path, Mode mode, Gradation gradation, int bar) const;
    void SaveAsBmp(const char* path, Mode mode, Gradation gradation) const;
    void SaveAsBMPEx(const char* path, Mode mode, double min, double max, Gradation gradation, int bar) const;
    /// Kept: these two draw no scale bar, unlike their window forms.
    void SaveAsBMPC(const char* path, Mode mode, double min, double max) const;
    void SaveAsBMP(const char* path, Mode mode, double min, double max) const;
    /// Loads an uncompressed BMP of 8 or 4 bits, stored bottom-up or top-down. Nx and Ny become the picture's sizes
    /// raised to powers of two, the picture stands in the centre, `background` around it, and the window becomes the
    /// whole grid; form, pitches and place stay. When the picture has exactly as many pixels as the field has samples,
    /// the grid takes the picture's sizes and the window stays. Kept: a size that differs from the raised one by an odd
    /// number loses its last column or top row.
    ///
    /// A pixel is the grey value v = (0.1 blue + 0.6 green + 0.3 red) / 255 of its palette entry, black beyond the
    /// palette: amplitude sqrt(v) (ModeIntensity) or v (ModeAmplitude) with phase 0, phase 2 pi v - pi with amplitude 1
    /// (ModePhase), (2 v - 1, 0) (ModeReal), (1, 2 v - 1) (ModeImag); other modes give background only. `background` is
    /// a pair in the representation of the mode: amplitude and phase for the first three.
    /// Kept: the palette is read behind a head of 40 bytes. Files with the newer heads of 64, 108 and 124 bytes load
    /// without an error and with wrong grey values: save them with the plain head, or load them as another kind of
    /// picture.
    /// @throws code 8, "LumoraLib::Lumora::LoadBmp", "" on a cartesian spectrum. With the same name: code 2, the path
    ///         (cannot be opened, no BMP); code 5, "Unsupported Pixel Bits", "Unsupported File Type", "file format
    ///         error" (sizes, place of the pixels), "Abnormal pixel depth" (2 bits). Code 5, "eread", the path, when
    ///         the file is shorter than its head says; this is found before memory is asked for. A refused file, and
    ///         one that there is no memory for, leave the field as it was. When the device itself fails while the
    ///         pixels are read, the field has the picture's sizes and `background` where pixels are missing.
    /// Memory: at most 64 bytes for each byte of a 4-bit file, 32 of an 8-bit one, and 1 MiB or one row.
    Lumora& LoadBmp(const char* path, Mode mode, Complex background);
    /// The same under the name "LumoraLib::Lumora::LoadBMP"; background (0, 0) where none is given.
    Lumora& LoadBMP(const char* path, Mode mode, Complex background);
    Lumora& LoadBMP(const char* path, Mode mode);
    /// Saves the window as an 8-bit HBI picture with the pitches (in single precision), bottom row first. Cartesian
    /// samples only. Modes and ranges as WinSaveAsBMPEx, but: log intensity is not shown (black in its own range); the
    /// mask is 0.1 % of the maximum; min > max is not refused; and in the mode's own range values are not clipped, a
    /// byte is the lowest 8 bits of the integer (255 from 2^31 steps on, 0 below -2^31 and for not-a-number). Kept:
    /// rows are not filled up, so LoadHBI reads widths of a multiple of 4 only.
    /// @param option  must be null
    /// @throws "LumoraLib::Lumora::WinSaveAsHBI": code 7, "err" on polar samples; code 2, the path; code 9 when
    ///         `option` is not null (the file has been created); code 6 without samples. Code 4, "ewrite", the path.
    void WinSaveAsHBI(const char* path, Mode mode, double min, double max, const OptionHead* option) const;
    /// The same for the whole grid.
    void SaveAsHBI(const char* path, Mode mode, double min, double max, OptionHead* option) const;
    /// Loads an HBI picture of 8 bits, or of 4 or 1. Pitches come from the file; modes as LoadBmp, v being the pixel
    /// over its largest value; modes above 4 load nothing. Nx and Ny become the picture's sizes raised to powers of two
    /// and the window the whole grid; with as many pixels as the field has samples the sizes are the picture's and the
    /// window is the old grid. The picture starts at sample (0, 0). Kept: the reader takes rows of a multiple of 4
    /// bytes, Ny of them after the raise, and for 4 bits rows of width * height bytes: other pictures end in a short
    /// read.
    /// @throws "LumoraLib::Lumora::LoadHBI": code 8, the path, on a cartesian spectrum; code 2, the path (cannot be
    ///         opened, other letters); code 5, "Pixel with 16-bit depth is not supported for current version", the path
    ///         (sizes not above 0, pixels inside the head), "Abnormal pixel depth". Code 5, "eread", the path, when the
    ///         file is shorter than its head says, found before memory is asked for. A refused file, and one that there
    ///         is no memory for, leave the field as it was. When the device itself fails while the pixels are read, the
    ///         new grid has what was read.
    /// Memory: at most 128 bytes for each byte of a 1-bit file, 16 of an 8-bit one, and 1 MiB or one row.
    Lumora& LoadHBI(const char* path, Mode mode);
    /// Saves the window as bytes without a head, top row first. Modes and ranges as WinSaveAsBMPEx, with a mask of 0.1
    /// %.
    /// @throws "LumoraLib::Lumora::WinSaveAsRAW": code 2, the path; code 3 when min > max (the file is emptied by
    ///         then); code 6 without samples. Code 4, "ewrite", the path.
    void WinSaveAsRAW(const char* path, Mode mode, double min, double max) const;
    /// The same for the whole grid.
    void SaveAsRAW(const char* path, Mode mode, double min, double max) const;

protected:
    // ------------------------------------------------------------------------------------------------------- Basic
    /// The form stack, 20 entries, shared by all fields: Push stores this object's form, Pull returns the last entry
    /// (the caller writes it to Form).
    /// @throws code 6, "LumoraLib::Lumora::PushForm", "Stack size over"; "LumoraLib::Lumora::PullForm", "Stack size
    ///         under".
    void PushForm();
    ComplexForm PullForm();

    // -------------------------------------------------------------------------------------------------- Conversion
    /// Cartesian to polar samples and back, with the flag; each returns at once when nothing is to be done.
    Lumora& _ConvToPolarForm();
    Lumora& _ConvToComplexForm();

    // --------------------------------------------------------------------------------------------------- Propagate
    /// The one-row path of _Old_SPWProp: the result is not divided by Nx.
    void SPW1d(double z);

    // ------------------------------------------------------------------------------------------------------ FileLm
    // Steps of the operations above for derived classes. Errors name file.function; the stream stays the caller's, who
    // closes it, also when an error is thrown.

    /// Data head and position head at the stream's position into the parameters; sizes raw, no samples. A failure
    /// leaves the field as it was, also in the loads below.
    void LoadParamLm(_LM_File& file);
    /// The same and the samples that the head points at.
    void LoadDataLm(_LM_File& file);
    /// Follows the index entry at the stream's position; false, and nothing changed, where it is 0.
    bool LoadParamMpLm(_LM_File& file);
    /// Parameters of segment (ix, iy); tells the common head's position unless the pointer is null. Kept: the result is
    /// reliable for segment (0, 0) only.
    bool LoadParamSegLm(_LM_File& file, int ix, int iy, std::int64_t* headPosition);
    /// Writes data head and position head at the stream's position.
    void SaveDataHeadLm(_LM_File& file) const;
    /// Displacement in metres of segment (ix, iy) of nx by ny, each of this field's size, from the centre of the grid.
    Vector GetDispSegLm(int ix, int iy, int nx, int ny) const;

private:
    friend struct detail::FieldAccess;

    /// Re-initialises a constructed object; normal, origin and the buffer pointer stay as they are.
    void __Ctr(int Nx, int Ny, double Px, double Py, double wavelength);

    /// Ends in Error code 6 with the operation's name when the buffer holds fewer samples than the grid announces.
    void RequireSamples(const char* function) const;
    /// The part of the window that lies inside the grid: what window loops run over.
    LML_RECT GridWindow() const;
    std::size_t Index(int i, int j) const
    {
        return static_cast<std::size_t>(static_cast<std::int64_t>(i) + std::int64_t{nx_} * j);
    }

    double k_;
    double px_;
    double py_;
    ComplexForm form_;
    std::int32_t nx_;
    std::int32_t ny_;
    LML_RECT window_;
    Complex* dataPointer_;
    std::size_t userBufferLength_;
    Vector normalVector_;
    Vector origin_;
    std::size_t capacity_; // samples that dataPointer_ really holds; sizes may announce more until the next Init

    static double* cubicTable_;
};

// ---------------------------------------------------------------------------------------------------------------
// Descriptors and tables                     (ScaledFFT.cpp, ShiftedFresnel.cpp, PointSource.cpp, LegacyProp.cpp)
// ---------------------------------------------------------------------------------------------------------------

// What calls with the same geometry share.

/// The transformed chirp kernel of one (size, parameter) pair of the scaled FFT, reused over many calls.
/// Its Lumora part is no optical field: twice the size of the fields it fits, samples the transform of the kernel.
class LML_API ScaledFftDescriptor : public Lumora
{
public:
    /// For fields of the size of `field` and the parameters a (columns) and b (rows) of the raw sum; sizes are raised
    /// to powers of two. Cost: one transform of the doubled grid and a sine and cosine for each of its samples; memory:
    /// four times the field's. It pays with FftLib 0, where it saves a third of a call; the fast engine takes the
    /// parameters from it as long as the samples are theirs, and pays a sweep over the samples to see that. @throws
    /// code 1 from Init.
    ScaledFftDescriptor(const Lumora& field, double a, double b);
    ScaledFftDescriptor(int nx, int ny, double a, double b);
    ScaledFftDescriptor(const ScaledFftDescriptor& other);
    ScaledFftDescriptor(ScaledFftDescriptor&& other) noexcept = default;
    ~ScaledFftDescriptor() = default;
    ScaledFftDescriptor& operator=(const ScaledFftDescriptor& other);
    ScaledFftDescriptor& operator=(ScaledFftDescriptor&& other) = default;
    /// Exact equality of size and parameters. After Dispose it still holds, but the samples are gone and use is
    /// refused.
    bool operator==(const ScaledFftDescriptor& other) const;
    bool IsCompatibleWith(int nx, int ny, double a, double b) const;
    void Dispose();

    double chirpX; ///< parameter a of the raw sum, for the column index
    double chirpY; ///< parameter b of the raw sum, for the row index

protected:
    struct Unfilled
    {
    };
    /// For derived descriptors: sets up the doubled grid and stores a and b without computing the kernel.
    ScaledFftDescriptor(Unfilled, int nx, int ny, double a, double b);
    void _ScaledFftDescriptor(int nx, int ny, double a, double b);
};

/// The scaled-FFT kernel of a shifted Fresnel propagation: depends on distance, pitches, wavelength and size only, so
/// one descriptor serves every pair of tiles.
class LML_API ShiftedFresnelPropDescriptor : public ScaledFftDescriptor
{
public:
    /// For the distance z (metres, above 0); px, py are the destination's pitches, and wavelength, source pitches and
    /// size are read from `source`. The parameters are px * sourcePx / (z * wavelength) and likewise along y. Cost and
    /// memory as ScaledFftDescriptor.
    ShiftedFresnelPropDescriptor(double z, double px, double py, const Lumora& source);
    ShiftedFresnelPropDescriptor(double z, double px, double py, double sourcePx, double sourcePy, double wavelength,
                                 int nx, int ny);
    /// Parameters within 1e-12 (absolute) and equal sizes.
    bool IsCompatibleWith(double z, double px, double py, const Lumora& source) const;
    bool IsCompatibleWith(double z, double px, double py, double sourcePx, double sourcePy, double wavelength, int nx,
                          int ny) const;
    bool operator==(const ShiftedFresnelPropDescriptor& other) const;
};

/// What a run of AddSphericalWaveSqr calls shares: the phase table and the limits of the diffraction angle, for one
/// wavelength, one pair of pitches (metres) and one direction of the reference wave. A hologram with that reference
/// carries the spatial frequencies within half a sampling frequency of the reference's own: the limits are the tangents
/// of the angles at the ends of that band, -1e100 and 1e100 where an end is evanescent.
///
/// Copies share the two tables, and either stays usable while the other dies. Cost: 1024 sines and cosines, 16 KiB.
class LML_API SphericalWaveDescriptor
{
public:
    /// @param wavelength  GetWavelength() of the field that is added to, compared exactly there: a field keeps its wave
    ///         number, and the number it was made with does not always come back to the last bit (67 of the 801 whole
    ///         nanometres from 300 to 1,100)
    /// @param direction  of the reference wave, normalised here (zero stays zero); (0, 0, 1) centres the patch
    /// @throws code 1, "LumoraLib::Malloc", "demanded bytes = <size> : SphericalWaveDescriptor".
    SphericalWaveDescriptor(double wavelength, double px, double py, const Vector& direction);
    SphericalWaveDescriptor(const SphericalWaveDescriptor& other);
    ~SphericalWaveDescriptor();
    SphericalWaveDescriptor& operator=(const SphericalWaveDescriptor& other);
    /// Wavelength and pitches exactly equal, wavevectors within the position tolerance (here in radians per metre).
    bool operator==(const SphericalWaveDescriptor& other) const;
    /// The same against values, under two names. v is compared with the stored wavevector as it is: pass the scaled
    /// vector (direction times 2 pi / wavelength).
    bool IsSameAs(double wavelength, double px, double py, Vector v) const;
    bool IsCompatibleWith(double wavelength, double px, double py, Vector v) const;

    int tableSize;      ///< 1024
    double tanMaxX;     ///< upper limit of the tangent of the diffraction angle along x
    double tanMinX;     ///< lower limit along x
    double tanMaxY;     ///< upper limit along y
    double tanMinY;     ///< lower limit along y
    double* cosTable;   ///< cos(2 pi n / 1024); null once destroyed
    double* sinTable;   ///< sin(2 pi n / 1024)
    int tableMask;      ///< 1023; an index never leaves the tables, whatever is written here
    double tableFactor; ///< table steps per metre of path, 1024 / wavelength
    double wavelength;  ///< metres, as given
    double px;          ///< metres, as given
    double py;          ///< metres, as given
    Vector wavevector;  ///< radians per metre

protected:
    /// The entry at the truncated t, its low bits.
    double CalcSin(double t) const;
    double CalcCos(double t) const;

private:
    std::shared_ptr<void> tables_; // keeps cosTable and sinTable alive as long as any copy
};

/// Sine and cosine of N equal steps of a turn, N a power of two. Copies share the tables, which live until the process
/// ends.
class LML_API TrigTable
{
public:
    /// N := 1 shifted left by (bits & 31). Memory: 16 N bytes, which are never given back.
    /// @throws code 1, "LumoraLib::Malloc", "demanded bytes = <size> : : TrigTable".
    /// A number of bits stands for its table: SPWPropFsTbl(z, 12).
    TrigTable(unsigned int bits);
    /// Copies share the tables.
    TrigTable(const TrigTable& other) = default;
    TrigTable& operator=(const TrigTable& other);
    /// Nearest entry, not interpolated: off by up to pi / N. The argument in radians (Sin, Cos) or in whole turns
    /// (SinR, CosR). Kept: negative arguments find an entry up to one and a half steps above. Not-a-number and
    /// arguments beyond 2^63 / N turns give entry 0.
    double Sin(double radians) const;
    double Cos(double radians) const;
    double SinR(double revolutions) const;
    double CosR(double revolutions) const;
    /// The number of entries.
    unsigned int N() const { return n; }

    double* cosTable;   ///< entry i is cos(2 pi i / N)
    double* sinTable;   ///< entry i is sin(2 pi i / N)
    std::uint32_t n;    ///< N, a power of two
    std::uint32_t mask; ///< N - 1
};

// ---------------------------------------------------------------------------------------------------------------
// Functions beside the field                                                           (Interpol.cpp, FileLm.cpp)
// ---------------------------------------------------------------------------------------------------------------

// Interpolators by their choosers, and files of many parts and segments.

/// The interpolator that stands behind a chooser value, for GetInterpolVal or a loop of one's own.
/// @throws code 6, "LumoraLib::GetInterpolFunc", "unable to use in current version" for 0, SINC_INTERPOL and values
///         above 9.
LML_API InterpolFunc GetInterpolFunc(Interpol interpol);

/// The failure path of the LM container: Error with file.function and the message "%s : %s" from path and detail, or
/// the path alone for a null detail; cut at 255 characters. The stream is left to whoever opened it.
[[noreturn]] LML_API void FileError(_LM_File& file, ErrorCode code, const char* detail);
/// Creates (or empties) a multi-part file with room for `count` parts.
/// @throws code 2, "LumoraLib::CreateFileMpLm", path; code 3, "Too large size" for more than 16383 parts, when an
///         existing file has been emptied already; code 4.
LML_API void CreateFileMpLm(const char* path, std::uint16_t count);
/// Creates (or empties) a segmented file of nx by ny segments. The first SaveAsSegLm fixes the segments' size.
/// @throws as CreateFileMpLm, with "LumoraLib::CreateFileSegLm", for more than 16383 segments. Kept: the product is cut
///         to 16 bits first, so 256 by 256 passes and gives a file that cannot hold its segments.
LML_API void CreateFileSegLm(const char* path, std::uint16_t nx, std::uint16_t ny);
/// The number of parts of a multi-part file. Errors as LoadMpLm, with "LumoraLib::GetSizeMpLm".
LML_API int GetSizeMpLm(const char* path);
/// The number of segments of a segmented file, and those along x and y. Errors as LoadSegLm, with
/// "LumoraLib::GetSizeSegLm".
LML_API int GetSizeSegLm(const char* path, int& nx, int& ny);

// ---------------------------------------------------------------------------------------------------------------
// Files replaced whole                                                                            (WholeFile.cpp)
// ---------------------------------------------------------------------------------------------------------------

// A saved file is the new one or the old one, whatever happens in between.

/// Replaces a file whole or not at all. Savers empty the file at the path first, or write into it in place: one that
/// fails or is killed, and a loss of power (they leave the bytes to the system), can cost the version that was there.
/// Here a saver writes beside it, and Commit brings the bytes to the disk before they take the name:
///
///     WholeFile file("plate.lm");
///     field.SaveAsLm(file.Path());
///     file.Commit();
///
/// Until Commit the old file is there as it was; without Commit (a failure, an early return, the end of the process)
/// the new one is removed. A killed process leaves a file "<path>.<process>-<number>.part", which can be deleted. The
/// rights of the old file are kept, other hard links to it keep the old version, and where the path is a symbolic link
/// the file behind it is replaced. Needs room on the disk for both versions and the right to create files in the
/// folder; two programs that write one file do not notice each other, the last Commit wins. Not copyable. Cost of
/// Commit: an fsync of the file and of its folder, up to some tens of milliseconds on a disk.
class LML_API WholeFile
{
public:
    /// What stands beside at first: nothing, or a copy of the file, for savers that write into an existing container.
    enum Contents
    {
        Empty,
        Copied
    };
    /// @throws code 2, "LumoraLib::WholeFile", path when no file can be created beside the path, the path leads to
    ///         something else than a file (a folder, a device), or there is no file to be copied; code 1 without
    ///         memory; code 5, "eread" and code 4, "ewrite" while copying.
    explicit WholeFile(const char* path, Contents contents = Empty);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// The name to give to savers; null after Commit. Failures of savers name it too.
    const char* Path() const { return beside_; }
    /// Brings the bytes to the disk and puts the file in its place. Every stream on Path() has been closed by then, as
    /// all savers of the library do.
    /// @throws code 4, "LumoraLib::WholeFile::Commit", the path when the bytes did not reach the disk or the name
    ///         cannot be taken (the old file stays; Commit can be tried again), or when only the folder's entry did not
    ///         reach the disk (the new file is in place); code 9 on a second call.
    void Commit();

private:
    static void RemoveOpen();
    void Discard();
    void CopyTarget();

    char* target_;
    char* beside_;
    int process_;
    WholeFile* next_;
};

/// Runs save(name) on a file beside `path` and puts it in place when the saver has come back:
///
///     SaveWhole("slit.bmp", [&](const char* name) { field.SaveAsBmp(name, ModeIntensity, GradationGrey); });
///
/// @throws what WholeFile and the saver throw; the file at `path` is as it was then.
template <class Save>
void SaveWhole(const char* path, Save&& save)
{
    WholeFile file(path);
    save(file.Path());
    file.Commit();
}

/// The same on a copy of the file, for the savers of parts and segments: an existing part is replaced whole or not at
/// all. Costs a copy of the whole container; a new part or segment is safe from kills without it (see SaveAsMpLm).
template <class Save>
void UpdateWhole(const char* path, Save&& save)
{
    WholeFile file(path, WholeFile::Copied);
    save(file.Path());
    file.Commit();
}
} // namespace LumoraLib

#endif
