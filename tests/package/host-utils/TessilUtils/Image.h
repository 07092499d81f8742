#pragma once

namespace TessilUtils {

class Image {
public:
    Image() = default;
    Image(unsigned int width, unsigned int height, unsigned int channels)
        : width_(width), height_(height), channels_(channels) {}

    unsigned int width() const { return width_; }
    unsigned int height() const { return height_; }
    unsigned int channels() const { return channels_; }

private:
    unsigned int width_ = 0;
    unsigned int height_ = 0;
    unsigned int channels_ = 0;
};

}  // namespace TessilUtils
