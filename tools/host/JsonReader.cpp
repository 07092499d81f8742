#include <tools/host/JsonReader.h>

#include <tools/host/Errors.h>
#include <tools/host/Text.h>
#include <tools/host/TextFile.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace TessilHost {

namespace {

using nlohmann::json;

/// Walks over the text and keeps an outside count of the bytes that the parser has taken, so that a
/// handler knows where in the text it is.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, std::size_t* taken) : at_(at), taken_(taken) {}

    reference operator*() const { return *at_; }
    CountingIterator& operator++() {
        ++at_;
        ++*taken_;
        return *this;
    }
    CountingIterator operator++(int) {
        const CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
    bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

private:
    const char* at_;
    std::size_t* taken_;
};

/// Builds the value from the parser's events. Unlike the parser's own tree builder it refuses a key
/// that stands twice, and limits the depth.
class TreeBuilder : public nlohmann::json_sax<json> {
public:
    explicit TreeBuilder(const std::size_t* taken) : taken_(taken) {}

    json takeTree() { return std::move(root_); }
    const std::string& reason() const { return reason_; }
    std::size_t errorAt() const { return errorAt_; }

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t&) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t& value) override { return add(std::move(value)); }

    bool start_object(std::size_t) override { return open(json::object()); }
    bool start_array(std::size_t) override { return open(json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        json& object = *open_.back();
        if (object.contains(name)) {
            return refuse("the key " + inQuotes(name) + " stands twice in one object", *taken_);
        }
        nextMember_ = &object[name];
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const json::exception& error) override {
        // The parser's sentence, less its prefix: "[json...101] parse error at line 1, column 2: ".
        std::string_view message = error.what();
        message.remove_prefix(std::min(message.find("] ") + 2, message.size()));
        if (message.substr(0, 11) == "parse error") {
            message.remove_prefix(std::min(message.find(": ") + 2, message.size()));
        }
        return refuse(std::string(message), position);
    }

private:
    bool add(json value) { return place(std::move(value)) != nullptr; }

    json* place(json value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        json& parent = *open_.back();
        if (parent.is_object()) {
            *nextMember_ = std::move(value);
            return nextMember_;
        }
        parent.push_back(std::move(value));
        return &parent.back();
    }

    bool open(json container) {
        constexpr std::size_t maxDepth = 32;
        if (open_.size() == maxDepth) {
            return refuse("nested deeper than " + std::to_string(maxDepth) + " levels", *taken_);
        }
        open_.push_back(place(std::move(container)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    bool refuse(std::string reason, std::size_t at) {
        reason_ = std::move(reason);
        errorAt_ = at;
        return false;
    }

    const std::size_t* taken_;
    json root_;
    /// The containers around the place in the text. A container grows only while it is the innermost
    /// one, so the addresses of those around it stay.
    std::vector<json*> open_;
    json* nextMember_ = nullptr;
    std::string reason_;
    std::size_t errorAt_ = 0;
};

/// "LINE:COLUMN" of the byte before position `taken`, both counted from 1, columns in bytes.
std::string lineAndColumn(std::string_view text, std::size_t taken) {
    const std::size_t at = std::min(taken == 0 ? 0 : taken - 1, text.size());
    std::size_t line = 1;
    std::size_t lineBegin = 0;
    for (std::size_t i = 0; i < at; ++i) {
        if (text[i] == '\n') {
            ++line;
            lineBegin = i + 1;
        }
    }
    return std::to_string(line) + ':' + std::to_string(at - lineBegin + 1);
}

/// The value that `text` spells. Where it spells none, `failed(place, reason)` is called, which throws.
template <class Failed>
json parse(const std::string& text, const Failed& failed) {
    // To the parser it is the end, whatever follows.
    if (const std::size_t zero = text.find('\0'); zero != std::string::npos) {
        failed(lineAndColumn(text, zero + 1), "a zero byte: this is no JSON text");
    }
    std::size_t taken = 0;
    TreeBuilder builder(&taken);
    const CountingIterator begin(text.data(), &taken);
    const CountingIterator end(text.data() + text.size(), &taken);
    if (!json::sax_parse(begin, end, &builder)) {
        failed(lineAndColumn(text, builder.errorAt()), builder.reason());
    }
    return builder.takeTree();
}

}  // namespace

nlohmann::json readJsonFile(const std::string& path) {
    return parse(readTextFile(path), [&](const std::string& place, const std::string& reason) {
        throw UserError(oneLine(path) + ':' + place + ": " + oneLine(reason));
    });
}

double numberOf(const nlohmann::json& value) {
    // The parser keeps integers without a sign apart, so that a zero with one is -0.
    const bool isNegativeZero = value.is_number_integer() && !value.is_number_unsigned() && value == 0;
    return isNegativeZero ? -0.0 : value.get<double>();
}

nlohmann::json parseJsonArgument(const std::string& text) {
    return parse(text, [&](const std::string&, const std::string& reason) {
        throw ValueError(inQuotes(text) + " is no JSON value: " + oneLine(reason));
    });
}

}  // namespace TessilHost
