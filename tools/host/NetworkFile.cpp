#include <tools/host/NetworkFile.h>

#include <tools/host/Errors.h>
#include <tools/host/JsonReader.h>
#include <tools/host/Numbers.h>
#include <tools/host/ObjReader.h>
#include <tools/host/PortAddress.h>
#include <tools/host/Text.h>

#include <Imath/ImathVec.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

namespace TessilHost {

namespace {

using nlohmann::json;
using TessilGraph::Node;

/// A part of the file, and the words by which messages call it.
struct Place {
    const json& value;
    std::string name;

    [[noreturn]] void refuse(const std::string& reason) const {
        throw UserError((name.empty() ? "" : name + ": ") + reason);
    }

    /// Part `key` of this object. It has to be there.
    Place member(const std::string& key) const {
        if (!value.contains(key)) {
            refuse("the key " + inQuotes(key) + " is missing");
        }
        return {value[key], name.empty() ? key : name + " " + key};
    }

    void requireObject(std::initializer_list<const char*> keys) const {
        requireType(value.is_object(), "an object");
        for (const auto& [key, ignored] : value.items()) {
            bool known = false;
            for (const char* allowed : keys) {
                known = known || key == allowed;
            }
            if (!known) {
                refuse("unknown key " + inQuotes(key));
            }
        }
    }

    void requireType(bool isRight, const char* wanted) const {
        if (!isRight) {
            refuse(std::string("wants ") + wanted + ", not " + value.type_name());
        }
    }

    const std::string& string() const {
        requireType(value.is_string(), "a string");
        return value.get_ref<const std::string&>();
    }
};

/// "nodes[3]", and with the name once it is known: "nodes[3] "a"".
std::string elementName(const char* list, std::size_t index) {
    return std::string(list) + '[' + std::to_string(index) + ']';
}

class NetworkBuilder {
public:
    NetworkBuilder(std::filesystem::path folder, LogCapture& log) : folder_(std::move(folder)), log_(log) {}

    std::unique_ptr<Network> build(const json& root) {
        const Place file{root, ""};
        file.requireObject({"description", "curves", "meshes", "nodes", "connections"});
        if (root.contains("description")) {
            file.member("description").string();
        }
        if (root.contains("curves")) {
            addCurves(file.member("curves"));
        }
        if (root.contains("meshes")) {
            addMeshes(file.member("meshes"));
        }
        addNodes(file.member("nodes"));
        if (root.contains("connections")) {
            addConnections(file.member("connections"));
        }
        return std::move(network_);
    }

private:
    void addCurves(const Place& curves) {
        curves.requireType(curves.value.is_object(), "an object");
        for (const auto& [name, value] : curves.value.items()) {
            addCurve(name, {value, "curves " + inQuotes(name)});
        }
    }

    void addCurve(const std::string& name, const Place& curve) {
        curve.requireObject({"degree", "cvs"});
        constexpr unsigned int cubic = 3;
        unsigned int degree = cubic;
        if (curve.value.contains("degree")) {
            constexpr unsigned int highest = 16;
            const Place place = curve.member("degree");
            const bool fits = place.value.is_number_unsigned() && place.value >= 1U && place.value <= highest;
            if (!fits) {
                place.refuse("wants an integer between 1 and " + std::to_string(highest));
            }
            degree = place.value.get<unsigned int>();
        }
        const Place cvs = curve.member("cvs");
        cvs.requireType(cvs.value.is_array(), "an array of vectors [x, y, z]");
        if (cvs.value.empty()) {
            cvs.refuse("a curve needs at least one control vertex");
        }
        std::vector<Imath::V3f> points;
        points.reserve(cvs.value.size());
        for (std::size_t i = 0; i < cvs.value.size(); ++i) {
            points.push_back(controlVertex({cvs.value[i], cvs.name + '[' + std::to_string(i) + ']'}));
        }
        network_->geometry.curves.emplace(name, TessilUtils::Curve(std::move(points), degree));
    }

    static Imath::V3f controlVertex(const Place& place) {
        const json& value = place.value;
        if (!value.is_array() || value.size() != 3) {
            place.refuse("wants a vector [x, y, z]");
        }
        Imath::V3f point;
        for (int i = 0; i < 3; ++i) {
            const json& coordinate = value[static_cast<std::size_t>(i)];
            const auto number = coordinate.is_number() ? toSingle(numberOf(coordinate)) : std::nullopt;
            if (!number) {
                place.refuse("wants finite numbers in single precision, not " + oneLine(coordinate.dump()));
            }
            point[i] = *number;
        }
        return point;
    }

    void addMeshes(const Place& meshes) {
        meshes.requireType(meshes.value.is_object(), "an object");
        for (const auto& [name, value] : meshes.value.items()) {
            const Place mesh{value, "meshes " + inQuotes(name)};
            mesh.requireObject({"file"});
            const std::filesystem::path path = folder_ / mesh.member("file").string();
            try {
                network_->geometry.meshes.emplace(name, readObjFile(path.string()));
            } catch (const UserError& error) {
                mesh.refuse(error.what());
            }
            network_->objFiles.push_back(path.string());
            refuseLogged(mesh);
        }
    }

    void addNodes(const Place& nodes) {
        nodes.requireType(nodes.value.is_array(), "an array of objects");
        for (std::size_t i = 0; i < nodes.value.size(); ++i) {
            addNode({nodes.value[i], elementName("nodes", i)});
        }
    }

    void addNode(Place place) {
        place.requireObject({"name", "type", "values"});
        const std::string& name = place.member("name").string();
        if (name.empty() || name.find_first_not_of(nameCharacters) != std::string::npos) {
            place.refuse("the name " + inQuotes(name) + R"( is not of ASCII letters, digits, "-" and "_")");
        }
        place.name += ' ' + inQuotes(name);
        const std::string& type = place.member("type").string();
        if (network_->manager.getNode(name) != nullptr) {
            place.refuse("another node has this name already");
        }
        Node* const node = network_->manager.createNode(type, name);
        if (node == nullptr) {
            place.refuse("unknown type " + inQuotes(type) + logged());
        }
        refuseLogged(place);
        if (place.value.contains("values")) {
            setValues(*node, place.member("values"));
        }
    }

    void setValues(Node& node, const Place& values) {
        values.requireType(values.value.is_object(), "an object");
        for (const auto& [port, value] : values.value.items()) {
            const Place place{value, values.name + ' ' + inQuotes(port)};
            try {
                setPortValue(requireInput(node, port), value, network_->geometry);
            } catch (const ValueError& error) {
                place.refuse(error.what());
            }
            refuseLogged(place);
        }
    }

    void addConnections(const Place& connections) {
        connections.requireType(connections.value.is_array(), R"(an array of pairs ["NODE.PORT", "NODE.PORT"])");
        for (std::size_t i = 0; i < connections.value.size(); ++i) {
            addConnection({connections.value[i], elementName("connections", i)});
        }
    }

    void addConnection(Place place) {
        const json& pair = place.value;
        if (!pair.is_array() || pair.size() != 2 || !pair[0].is_string() || !pair[1].is_string()) {
            place.refuse(R"(wants a pair ["NODE.PORT", "NODE.PORT"])");
        }
        const auto& from = pair[0].get_ref<const std::string&>();
        const auto& to = pair[1].get_ref<const std::string&>();
        place.name += ' ' + inQuotes(from) + " to " + inQuotes(to);
        try {
            const PortAddress source = PortAddress::parse(from);
            const PortAddress target = PortAddress::parse(to);
            requireOutput(requireNode(network_->manager, source.node), source.port);
            requireInput(requireNode(network_->manager, target.node), target.port);
            if (!network_->manager.connectAttr(source.node, source.port, target.node, target.port)) {
                place.refuse("the library refuses the connection" + logged());
            }
        } catch (const ValueError& error) {
            place.refuse(error.what());
        }
    }

    /// ": " and what the library has logged, or nothing.
    std::string logged() {
        const std::string messages = log_.take();
        return messages.empty() ? "" : ": " + messages;
    }

    /// A complaint of the library is an error even where the call went through.
    void refuseLogged(const Place& place) {
        const std::string messages = log_.take();
        if (!messages.empty()) {
            place.refuse(messages);
        }
    }

    static constexpr const char* nameCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";

    std::filesystem::path folder_;
    LogCapture& log_;
    std::unique_ptr<Network> network_ = std::make_unique<Network>();
};

}  // namespace

std::unique_ptr<Network> readNetworkFile(const std::string& path, LogCapture& log) {
    const json root = readJsonFile(path);
    try {
        return NetworkBuilder(std::filesystem::path(path).parent_path(), log).build(root);
    } catch (const UserError& error) {
        constexpr std::size_t longMessage = 2000;
        throw UserError(oneLine(path) + ": " + oneLine(error.what(), longMessage));
    }
}

}  // namespace TessilHost
