#pragma once

#include <TessilUtils/Export.h>

#include <cstddef>

namespace TessilUtils {

/// Float pixels, row by row from the first row, the channels of a pixel side by side.
///
/// Copies share their pixels until one of them is written to.
///
/// Threads: different images may be used from different threads at once, also when they share pixels; of
/// one image, the const functions may while nobody writes it, and one thread at a time writes.
class TESSILUTILS_API Image {
public:
    /// No pixels.
    Image();

    /// All pixels zero. When one size is zero the image is empty and all its sizes are zero; so it is, with
    /// the reason logged, when only some sizes are zero or when there is no memory for so many pixels.
    Image(unsigned int width, unsigned int height, unsigned int channels);

    Image(const Image& other);
    Image(Image&& other) noexcept;
    Image& operator=(const Image& other);
    Image& operator=(Image&& other) noexcept;
    ~Image();

    /// Pixels per row.
    unsigned int width() const { return width_; }

    /// Number of rows.
    unsigned int height() const { return height_; }

    /// Floats per pixel.
    unsigned int channels() const { return channels_; }

    bool isEmpty() const { return width_ == 0; }

    /// The value at column `x` of row `y`; zero outside the image.
    float pixel(unsigned int x, unsigned int y, unsigned int channel) const;

    /// Writes one value. False, with the reason logged, outside the image.
    bool setPixel(unsigned int x, unsigned int y, unsigned int channel, float value);

    /// All values, width x height x channels of them; null when the image is empty. Valid until the
    /// image is written to, assigned or destroyed.
    const float* data() const;

private:
    struct Pixels;

    std::size_t offset(unsigned int x, unsigned int y, unsigned int channel) const;
    bool contains(unsigned int x, unsigned int y, unsigned int channel) const;
    void release();

    unsigned int width_ = 0;
    unsigned int height_ = 0;
    unsigned int channels_ = 0;
    Pixels* pixels_ = nullptr;  // shared, freed by its last owner
};

}  // namespace TessilUtils
