#pragma once

#include <Imath/ImathVec.h>

#include <utility>
#include <vector>

namespace TessilUtils {

class Curve {
public:
    Curve() = default;
    explicit Curve(std::vector<Imath::V3f> cvs, unsigned int degree = 3) : cvs_(std::move(cvs)), degree_(degree) {}
    virtual ~Curve() = default;

    std::vector<Imath::V3f>& cvs() { return cvs_; }
    const std::vector<Imath::V3f>& cvs() const { return cvs_; }
    unsigned int degree() const { return degree_; }

    Imath::V3f pointOnCurve(float) const { return Imath::V3f(0.0F); }
    Imath::V3f tangentOnCurve(float) const { return Imath::V3f(0.0F); }

    virtual std::pair<float, Imath::V3f> closestPoint(const Imath::V3f&, unsigned int, unsigned int, float) {
        return {0.0F, Imath::V3f(0.0F)};
    }

private:
    std::vector<Imath::V3f> cvs_;
    unsigned int degree_ = 3;
};

}  // namespace TessilUtils
