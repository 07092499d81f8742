#pragma once

#include <TessilUtils/Export.h>

#include <Imath/ImathVec.h>

#include <atomic>
#include <utility>
#include <vector>

namespace TessilUtils {

class CurveSpans;

/// A clamped uniform B-spline through float control vertices: it begins at the first and ends at the
/// last one, and its spans between are of equal length in the parameter, which runs from 0 to 1.
///
/// Control vertices may be changed through `cvs`, the next question sees it. Copies share what
/// `closestPoint` has prepared.
///
/// Where memory runs out, `std::bad_alloc` reaches the caller. A curve that was asked or was to be copied or assigned
/// is then as it was.
///
/// Threads: several may ask and copy one curve at once while nobody changes it; `closestPoint` and `cvs`
/// count as asking. Copies are curves of their own.
class TESSILUTILS_API Curve {
public:
    /// No control vertices.
    Curve();

    explicit Curve(std::vector<Imath::V3f> cvs, unsigned int degree = 3);
    Curve(const Curve& other);
    Curve(Curve&& other) noexcept;
    Curve& operator=(const Curve& other);
    Curve& operator=(Curve&& other) noexcept;
    virtual ~Curve();

    /// The control vertices, free to be changed in value and number.
    std::vector<Imath::V3f>& cvs() { return cvs_; }
    const std::vector<Imath::V3f>& cvs() const { return cvs_; }

    /// The degree in use: the one given, lowered to the number of control vertices less one while there
    /// are too few. Degree 0 is a curve that jumps from vertex to vertex.
    unsigned int degree() const;

    /// The point at `parameter`, which is clamped to [0, 1]; NaN counts as 0. Zero without control vertices.
    Imath::V3f pointOnCurve(float parameter) const;

    /// The first derivative by the parameter, not normalised; the parameter as in `pointOnCurve`. Components
    /// beyond the range of float are the largest ones. Zero without control vertices and at degree 0.
    Imath::V3f tangentOnCurve(float parameter) const;

    /// The parameter and the point of the curve nearest to `position`, of all the curve, not of a
    /// neighbourhood; among equally near places any one. (0, zero) without control vertices.
    ///
    /// The arguments steer the way, not the answer, which is right to float precision with any values:
    /// - `samplesPerSpan`: places looked at first in a span that has several places to choose from, to rule
    ///   out the worse ones early; 16 at most.
    /// - `maxIterations`: Newton steps for one place; what is not within the tolerance then is finished by
    ///   halving, which takes longer.
    /// - `tolerance`: a place counts as found when a step moves it by less than a hundredth of this part of
    ///   its span; coarser than 1e-4 or NaN counts as 1e-4, finer than 1e-10 as 1e-10.
    ///
    /// Vertices that are not finite are left out: the answer is the nearest among the points that do not
    /// depend on them. When there are none, or when `position` is NaN, the answer is the beginning of the curve.
    ///
    /// Neither the caller's floating point settings nor its exception flags change, and the answer does not depend
    /// on them.
    virtual std::pair<float, Imath::V3f> closestPoint(const Imath::V3f& position, unsigned int samplesPerSpan,
                                                      unsigned int maxIterations, float tolerance);

private:
    const CurveSpans* currentSpans();

    std::vector<Imath::V3f> cvs_;
    unsigned int degree_ = 3;
    // What closestPoint has prepared for vertices that may have changed since; made on demand, shared by copies.
    std::atomic<const CurveSpans*> spans_{nullptr};
    // The one before. A thread may still compare it with the vertices when another thread replaces it.
    const CurveSpans* retired_ = nullptr;
};

}  // namespace TessilUtils
