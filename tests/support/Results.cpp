#include "tests/support/Results.h"

#include <complex>
#include <span>
#include <stdexcept>
#include <string_view>

namespace radvex::test {

namespace {

class Digest {
  public:
    void addBytes(std::span<const std::byte> bytes) {
        addNumber(bytes.size());
        mSize += bytes.size();
        for (const std::byte byte : bytes) {
            step(static_cast<std::uint64_t>(byte));
        }
    }
    void addText(std::string_view text) { addBytes(std::as_bytes(std::span(text))); }
    void addNumber(std::uint64_t number) {
        for (int shift = 0; shift < 64; shift += 8) {
            step(number >> shift & 0xFFU);
        }
    }
    void addDimensions(const std::vector<vint>& dimensions) {
        addNumber(dimensions.size());
        for (const vint dimension : dimensions) {
            addNumber(static_cast<std::uint64_t>(dimension));
        }
    }
    std::uint64_t hash() const { return mHash; }
    std::uint64_t size() const { return mSize; }

    void operator()(velmora::Null) { addNumber(0); }
    void operator()(bool flag) { addNumber(flag ? 1 : 0); }
    void operator()(vint number) { addNumber(static_cast<std::uint64_t>(number)); }
    void operator()(double number) { addBytes(std::as_bytes(std::span(&number, 1))); }
    void operator()(const std::complex<double>& number) { addBytes(std::as_bytes(std::span(&number, 1))); }
    void operator()(const std::string& text) { addText(text); }
    void operator()(const velmora::Tensor& tensor) {
        addDimensions(tensor.dimensions());
        if (tensor.type() == VType_Integer) {
            addBytes(std::as_bytes(tensor.data<vint>()));
        } else if (tensor.type() == VType_Real) {
            addBytes(std::as_bytes(tensor.data<double>()));
        } else {
            addBytes(std::as_bytes(tensor.data<std::complex<double>>()));
        }
    }
    void operator()(const velmora::NumericArray& array) {
        addNumber(static_cast<std::uint64_t>(array.type()));
        addDimensions(array.dimensions());
        addBytes(array.bytes());
    }
    void operator()(const velmora::Image& image) {
        const VelmoraImage& info = image.info();
        addNumber(static_cast<std::uint64_t>(info.type));
        addNumber(static_cast<std::uint64_t>(info.length));
        addBytes(image.bytes());
    }
    void operator()(const velmora::Store& store) {
        addNumber(store.size());
        for (const velmora::NodeView node : store) {
            addText(node.name());
            add(node.value());
        }
    }
    void add(const velmora::Value& value) {
        addNumber(value.index());
        value.visit([this](const auto& content) { (*this)(content); });
    }

  private:
    void step(std::uint64_t byte) { mHash = (mHash ^ byte) * 0x100000001B3U; }

    std::uint64_t mHash = 0xCBF29CE484222325U;
    std::uint64_t mSize = 0;
};

} // namespace

std::vector<std::string> keysOf(velmora::StoreView store) {
    std::vector<std::string> keys;
    for (const velmora::NodeView node : store) {
        keys.emplace_back(node.name());
    }
    return keys;
}

std::string textOf(velmora::StoreView store, const std::string& key) {
    for (const velmora::NodeView node : store) {
        if (node.name() == key) {
            return node.cell().utf8String;
        }
    }
    return "(no node " + key + ")";
}

velmora::StoreView storeAt(velmora::StoreView store, std::initializer_list<std::size_t> path) {
    for (const std::size_t index : path) {
        store = store.at(index).store();
    }
    return store;
}

velmora::StoreView storeAt(velmora::StoreView store, std::size_t index) { return storeAt(store, {index}); }

const VelmoraImage& imageAt(velmora::StoreView store, const std::vector<std::size_t>& path) {
    for (std::size_t step = 0; step + 1 < path.size(); ++step) {
        store = storeAt(store, path[step]);
    }
    const velmora::NodeView node = store.at(path.back());
    if (node.type() != VType_Image) {
        throw std::runtime_error("The node " + std::string(node.name()) + " is no image");
    }
    return *node.cell().image;
}

std::string outline(velmora::StoreView store) {
    std::string line;
    for (const velmora::NodeView node : store) {
        line += line.empty() ? "" : ",";
        line += node.name();
        const std::string equals = node.name().empty() ? "" : "=";
        switch (node.type()) {
        case VType_DataStore: line += "{" + outline(velmora::StoreView(node.cell().dataStore)) + "}"; break;
        case VType_UTF8String: line += equals + node.cell().utf8String; break;
        case VType_Integer: line += equals + std::to_string(node.cell().integer); break;
        case VType_Image: line += ":image"; break;
        case VType_NumericArray: line += ":array"; break;
        default: line += ":kind " + std::to_string(node.type());
        }
    }
    return line;
}

std::uint64_t digestOf(const velmora::Value& value) {
    Digest digest;
    digest.add(value);
    return digest.hash();
}

std::uint64_t sizeOf(const velmora::Value& value) {
    Digest digest;
    digest.add(value);
    return digest.size();
}

} // namespace radvex::test
