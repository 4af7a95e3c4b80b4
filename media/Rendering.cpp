#include "media/Rendering.h"

namespace radvex::media {

velmora::Tensor Rendering::scalingTensor() const {
    const auto tensor = [](double first, double second) {
        return velmora::Tensor(std::vector<vint>{2}, std::vector<double>{first, second});
    };
    if (window) {
        return tensor(window->width, window->center);
    }
    switch (scaling) {
    case Scaling::trimmed: return tensor(-1.0, 0.0);
    case Scaling::commonWindow: return tensor(-2.0, 0.0);
    case Scaling::none: return tensor(-3.0, 0.0);
    default: return tensor(0.0, 0.0);
    }
}

} // namespace radvex::media
