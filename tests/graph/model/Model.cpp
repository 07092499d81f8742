#include <tests/graph/model/Model.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <deque>
#include <functional>
#include <set>
#include <utility>

namespace model {

const std::vector<NodeType>& nodeTypes() {
    static const std::vector<NodeType> types = {
        {"ModelSum", 8001, {{"a", "DoublePort"}, {"b", "DoublePort"}}, {{"o", "DoublePort"}}},
        {"ModelText", 8002, {{"a", "StringPort"}, {"b", "StringPort"}}, {{"o", "StringPort"}}},
        {"ModelMixed", 8003, {{"a", "DoublePort"}, {"t", "StringPort"}}, {{"o", "DoublePort"}, {"t", "StringPort"}}},
        {"ModelSource", 8004, {}, {{"o", "DoublePort"}, {"t", "StringPort"}}},
        {"ModelWide",
         8005,
         {{"a", "DoublePort"}, {"b", "DoublePort"}, {"c", "DoublePort"}, {"t", "StringPort"}},
         {{"o", "DoublePort"}, {"p", "DoublePort"}}},
    };
    return types;
}

Value outcome(const std::vector<Value>& inputs, int computes, std::size_t output) {
    Value result;
    result.number = computes + 0.5 * static_cast<double>(output);
    for (std::size_t index = 0; index < inputs.size(); ++index) {
        result.number += static_cast<double>(index + 2) * inputs[index].number;
        result.text += inputs[index].text;
    }
    result.number = std::fmod(result.number, 100003.0);
    result.text += std::to_string(computes) + static_cast<char>('a' + static_cast<int>(output));
    if (result.text.size() > 24) {
        result.text = result.text.substr(result.text.size() - 24);
    }
    return result;
}

namespace {

template <class T>
bool contains(const std::vector<T>& list, const T& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

template <class T>
void removeFirst(std::vector<T>& list, const T& item) {
    const auto found = std::find(list.begin(), list.end(), item);
    if (found != list.end()) {
        list.erase(found);
    }
}

bool isPlainName(const std::string& name) {
    const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !name.empty() && name.find_first_not_of(allowed) == std::string::npos;
}

}  // namespace

void World::beginStep() {
    log.clear();
    destroyed.clear();
    ran.clear();
    threw = false;
    isLeftOut = false;
}

void World::error(const std::vector<std::string>& pieces) {
    std::string message;
    for (const std::string& piece : pieces) {
        message += piece + " ";
    }
    log.push_back(message);
}

Id World::newPort(const std::string& name, const std::string& type) {
    Port port;
    port.name = name;
    port.type = type;
    ports.add(std::move(port));
    return ports.size() - 1;
}

Id World::feeding(Id port) const {
    Id end = port;
    std::size_t steps = 0;
    while (ports[end].input && !ports[end].connections.empty()) {
        end = ports[end].connections.front();
        if (++steps > ports.size()) {
            end = port;  // A row of inputs that runs in a circle leads to no value but the port's own.
            break;
        }
    }
    return end;
}

const Value& World::read(Id port) const {
    const Port& end = ports[feeding(port)];
    return end.link == none ? end.value : outside[end.link];
}

void World::writeThrough(Id port, const Value& value) {
    Port& end = ports.change(feeding(port));
    Value& stored = end.link == none ? end.value : outside[end.link];
    if (end.type == "DoublePort") {
        stored.number = value.number;
    } else {
        stored.text = value.text;
    }
}

void World::set(Id port, const Value& value) {
    ports.change(port).value = value;
    if (ports[port].node != none && ports[port].input) {
        setDirty(ports[port].node, true);
    }
}

void World::copyValue(Id to, Id from) {
    if (from == none) {
        return;
    }
    if (ports[to].type != ports[from].type) {
        error({"Impossible copy a", ports[from].type, "value to a", ports[to].type, "port"});
        return;
    }
    Port& target = ports.change(to);
    target.value = ports[from].value;
    target.link = ports[from].link;
}

void World::resetPort(Id port) {
    Port& mine = ports.change(port);
    mine.connections.clear();
    mine.value = Value();
    mine.link = none;
}

bool World::reaches(Id from, Id target) const {
    std::set<Id> seen;
    std::vector<Id> work = {from};
    while (!work.empty()) {
        const Id node = work.back();
        work.pop_back();
        if (node == target) {
            return true;
        }
        if (node == none || !seen.insert(node).second) {
            continue;
        }
        for (const Id output : nodes[node].outputs) {
            for (const Id other : ports[output].connections) {
                if (ports[other].node != none) {
                    work.push_back(ports[other].node);
                }
            }
        }
    }
    return false;
}

bool World::connect(Id port, Id other) {
    if (other == none) {
        error({"Error null pointer"});
        return false;
    }
    const Port& mine = ports[port];
    const Port& theirs = ports[other];
    if (mine.input && theirs.input) {
        error({"Only input to output port connection are allowed!"});
        return false;
    }
    if (mine.node == theirs.node) {
        error({"Connect port on the same node is not allowed!"});
        return false;
    }
    if (mine.type != theirs.type) {
        error({"Impossible connect a ", mine.type, " attribute to a ", theirs.type, " port"});
        return false;
    }
    if (contains(theirs.connections, port) || contains(mine.connections, other)) {
        error({"Node are already connected"});
        return false;
    }
    if ((mine.input && !mine.connections.empty()) || (theirs.input && !theirs.connections.empty())) {
        error({"Attribute already connected to another attribute ", mine.name, " ", theirs.name});
        return false;
    }
    const Id up = mine.input ? theirs.node : mine.node;
    const Id down = mine.input ? mine.node : theirs.node;
    if (down != none && up != none && reaches(down, up)) {
        error({"Cycle detected! the connection is not allowed!"});
        return false;
    }
    ports.change(other).connections.push_back(port);
    ports.change(port).connections.push_back(other);
    return true;
}

bool World::disconnect(Id port, Id other) {
    if (other == none) {
        error({"Error null pointer"});
        return false;
    }
    if (!contains(ports[port].connections, other)) {
        error({"Connection doesn't exist"});
        return false;
    }
    removeFirst(ports.change(other).connections, port);
    removeFirst(ports.change(port).connections, other);
    return true;
}

Id World::newNode(std::size_t type) {
    Node node;
    node.type = type;
    nodes.add(std::move(node));
    const Id made = nodes.size() - 1;
    for (const PortType& port : nodeTypes()[type].inputs) {
        addPort(made, newPort(port.name, port.type), true);
    }
    for (const PortType& port : nodeTypes()[type].outputs) {
        addPort(made, newPort(port.name, port.type), false);
    }
    return made;
}

Id World::cloneNode(Id node) {
    const Id copy = newNode(nodes[node].type);
    nodes.change(copy).name = nodes[node].name;
    for (const Id port : nodes[node].inputs) {
        if (ports[port].connections.empty()) {
            const Id copied = findPort(copy, ports[port].name, true);
            if (copied != none && ports[copied].type == ports[port].type) {
                copyValue(copied, port);
            }
        }
    }
    return copy;
}

void World::destroyNode(Id node) {
    nodes.change(node).alive = false;
    for (const Id port : nodes[node].inputs) {
        ports.change(port).alive = false;
    }
    for (const Id port : nodes[node].outputs) {
        ports.change(port).alive = false;
    }
    // Those that were removed from it live on.
    for (Id port = 0; port < ports.size(); ++port) {
        if (ports[port].alive && ports[port].node == node) {
            ports.change(port).node = none;
        }
    }
    destroyed.push_back(node);
}

void World::destroyMember(Id manager, Id node) {
    for (auto& [name, order] : managers.change(manager).networkCache) {
        order.erase(std::remove(order.begin(), order.end(), node), order.end());
    }
    destroyNode(node);
}

bool World::addPort(Id node, Id port, bool input) {
    for (const Id other : input ? nodes[node].inputs : nodes[node].outputs) {
        if (ports[other].name == ports[port].name) {
            error({"Port ", ports[port].name, "already exists"});
            return false;
        }
    }
    ports.change(port).input = input;
    ports.change(port).node = node;
    Node& mine = nodes.change(node);
    (input ? mine.inputs : mine.outputs).push_back(port);
    return true;
}

void World::addNoPort() {
    error({"Error null pointer"});
}

void World::removePort(Id node, const std::string& name, bool input) {
    const Id port = findPort(node, name, input);
    if (port != none) {
        Node& mine = nodes.change(node);
        removeFirst(input ? mine.inputs : mine.outputs, port);
    }
}

Id World::findPort(Id node, const std::string& name, bool input) const {
    for (const Id port : input ? nodes[node].inputs : nodes[node].outputs) {
        if (ports[port].name == name) {
            return port;
        }
    }
    return none;
}

void World::setDirty(Id node, bool dirty) {
    if (nodes[node].dirty == dirty) {
        return;
    }
    if (!dirty) {
        nodes.change(node).dirty = false;
        return;
    }
    std::vector<Id> work = {node};
    do {
        const Id top = work.back();
        if (nodes[top].dirty) {
            work.pop_back();
            continue;
        }
        for (const Id output : nodes[top].outputs) {
            for (const Id other : ports[output].connections) {
                const Id below = ports[other].node;
                if (below != none && !nodes[below].dirty) {
                    work.push_back(below);
                }
            }
        }
        nodes.change(top).dirty = true;
    } while (work.size() > 1);
    nodes.change(node).dirty = true;
}

void World::resetNode(Id node) {
    for (const Id port : nodes[node].inputs) {
        resetPort(port);
    }
    for (const Id port : nodes[node].outputs) {
        resetPort(port);
    }
}

std::string World::uniqueName(Id manager, const std::string& name) const {
    std::string unique = name;
    for (int number = 1; managers[manager].nodes.count(unique) > 0; ++number) {
        unique = name + std::to_string(number);
    }
    return unique;
}

void World::addNode(Id manager, Id node, const std::string& name) {
    if (node == none) {
        error({"Error null pointer"});
        return;
    }
    const std::string unique = uniqueName(manager, name);
    nodes.change(node).name = unique;
    managers.change(manager).nodes[unique] = node;
}

Id World::createNode(Id manager, const std::string& type, const std::string& name) {
    Manager& mine = managers.change(manager);
    const std::string unique = uniqueName(manager, name);
    Id result = none;
    const auto waiting = mine.nodeCache.find(unique);
    if (waiting != mine.nodeCache.end() && !waiting->second.inUse && waiting->second.node != none &&
        nodeTypes()[nodes[waiting->second.node].type].name == type) {
        waiting->second.inUse = true;
        result = waiting->second.node;
    } else {
        const Id known = typeNamed(type);
        result = known == none ? none : newNode(known);
        mine.nodeCache[unique] = {true, result};
    }
    if (result != none) {
        nodes.change(result).name = unique;
        mine.nodes[unique] = result;
    }
    return result;
}

void World::registerNode(const std::string& name, Id type) {
    if (type == none) {
        error({"Error null pointer"});
    } else if (!registered.insert({name, type}).second) {
        error({"Node ", name, " already registered"});
    }
}

void World::deregisterNode(const std::string& name) {
    if (registered.erase(name) == 0) {
        error({"Node ", name, " is not registered"});
    }
}

Id World::typeNamed(const std::string& name) const {
    if (name.empty()) {
        return none;
    }
    auto found = registered.find(name);
    if (found == registered.end()) {
        std::string raised = name;
        raised[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(raised[0])));
        found = registered.find(raised);
    }
    return found == registered.end() ? none : found->second;
}

void World::deleteNode(Id manager, const std::string& name) {
    Manager& mine = managers.change(manager);
    const auto found = mine.nodes.find(name);
    if (found != mine.nodes.end()) {
        const Id node = found->second;
        for (const Id port : nodes[node].inputs) {
            if (!ports[port].connections.empty()) {
                disconnect(port, ports[port].connections.front());
            }
        }
        for (const Id port : nodes[node].outputs) {
            const std::vector<Id> connected = ports[port].connections;
            for (const Id other : connected) {
                disconnect(other, port);
            }
        }
        destroyMember(manager, node);
        mine.nodes.erase(name);
    }
    mine.nodeCache.erase(name);
}

bool World::renameNode(Id manager, const std::string& oldName, const std::string& newName) {
    Manager& mine = managers.change(manager);
    if (!isPlainName(newName) || mine.nodes.count(oldName) == 0) {
        return false;
    }
    const Id node = mine.nodes[oldName];
    const std::string unique = uniqueName(manager, newName);
    const auto old = mine.nodeCache.find(oldName);
    if (old != mine.nodeCache.end() && old->second.node == node) {
        const auto waiting = mine.nodeCache.find(unique);
        if (waiting != mine.nodeCache.end() && !waiting->second.inUse && waiting->second.node != none) {
            destroyMember(manager, waiting->second.node);
        }
        const CacheEntry entry = old->second;
        mine.nodeCache[unique] = entry;
        mine.nodeCache.erase(oldName);
    }
    mine.nodes.erase(oldName);
    nodes.change(node).name = unique;
    mine.nodes[unique] = node;
    return true;
}

bool World::connectAttr(Id manager, const std::vector<std::string>& names) {
    const Manager& mine = managers[manager];
    if (mine.nodes.count(names[0]) == 0 || mine.nodes.count(names[2]) == 0) {
        return false;
    }
    const Id out = findPort(mine.nodes.at(names[0]), names[1], false);
    const Id in = findPort(mine.nodes.at(names[2]), names[3], true);
    return out != none && in != none && connect(out, in);
}

bool World::disconnectAttr(Id manager, const std::vector<std::string>& names) {
    const Manager& mine = managers[manager];
    if (mine.nodes.count(names[0]) == 0 || mine.nodes.count(names[2]) == 0) {
        return false;
    }
    const Id out = findPort(mine.nodes.at(names[0]), names[1], false);
    const Id in = findPort(mine.nodes.at(names[2]), names[3], true);
    return out != none && in != none && disconnect(out, in);
}

Id World::upstream(Id port) const {
    return ports[port].connections.empty() ? none : ports[ports[port].connections.front()].node;
}

std::vector<Id> World::serialOrder(Id node, bool dirtyOnly) const {
    std::deque<Id> stack = {node};
    std::set<std::string> done;
    std::vector<Id> order;
    while (!stack.empty()) {
        const Id top = stack.back();
        std::set<std::string> pushedNow;
        bool ready = true;
        for (const Id port : nodes[top].inputs) {
            const Id up = upstream(port);
            if (up == none || (dirtyOnly && !nodes[up].dirty) || done.count(nodes[up].name) > 0 ||
                pushedNow.count(nodes[up].name) > 0) {
                continue;
            }
            stack.push_back(up);
            pushedNow.insert(nodes[up].name);
            ready = false;
        }
        if (ready) {
            if (!dirtyOnly || nodes[top].dirty) {
                order.push_back(top);
            }
            done.insert(nodes[top].name);
            stack.pop_back();
        }
    }
    return order;
}

std::vector<std::vector<Id>> World::levels(Id node) const {
    std::set<Id> level = {node};
    std::set<Id> leaves;
    std::vector<std::set<Id>> found = {level};
    while (!level.empty()) {
        std::set<Id> next;
        for (const Id member : level) {
            if (!nodes[member].dirty) {
                continue;
            }
            if (nodes[member].inputs.empty()) {
                leaves.insert(member);
            }
            for (const Id port : nodes[member].inputs) {
                const Id up = upstream(port);
                if (up == none) {
                    continue;
                }
                std::size_t fed = 0;
                for (const Id input : nodes[up].inputs) {
                    fed += ports[input].connections.size();
                }
                (fed > 0 ? next : leaves).insert(up);
            }
        }
        found.push_back(next.empty() ? leaves : next);
        level = next;
    }
    std::vector<std::vector<Id>> ordered;
    for (auto members = found.rbegin(); members != found.rend(); ++members) {
        // Inside a level, what feeds another member goes first.
        std::vector<Id> order;
        std::set<Id> placed;
        const std::function<void(Id)> place = [&](Id member) {
            if (members->count(member) == 0 || !placed.insert(member).second) {
                return;
            }
            for (const Id port : nodes[member].inputs) {
                if (upstream(port) != none) {
                    place(upstream(port));
                }
            }
            order.push_back(member);
        };
        for (const Id member : *members) {
            place(member);
        }
        ordered.push_back(order);
    }
    return ordered;
}

bool World::runRule(Id node) {
    if (nodes[node].throws) {
        threw = true;
        return false;
    }
    ++nodes.change(node).computes;
    std::vector<Value> inputs;
    for (const Id port : nodes[node].inputs) {
        const Value& value = read(port);
        inputs.push_back(ports[port].type == "DoublePort" ? Value{value.number, ""} : Value{0.0, value.text});
    }
    for (std::size_t index = 0; index < nodes[node].outputs.size(); ++index) {
        set(nodes[node].outputs[index], outcome(inputs, nodes[node].computes, index));
    }
    return true;
}

void World::compute(Id node) {
    if (runRule(node)) {
        setDirty(node, false);
    }
}

void World::computeByHand(Id node) {
    ran.push_back({node});
    runRule(node);
}

void World::computeNode(Id manager, const std::string& name, bool parallel, bool useCache) {
    const Manager& mine = managers[manager];
    if (mine.nodes.count(name) == 0) {
        return;
    }
    const Id node = mine.nodes.at(name);
    const bool stored = useCache && mine.networkCache.count(name) > 0;
    if (!stored && !nodes[node].dirty) {
        return;
    }
    if (!stored && parallel) {
        for (const std::vector<Id>& level : levels(node)) {
            ran.push_back(level);
            for (const Id member : level) {
                compute(member);
            }
            // Which of its neighbours ran before a node threw is left open.
            if (threw) {
                isLeftOut = true;
                return;
            }
        }
        return;
    }
    for (const Id next : stored ? mine.networkCache.at(name) : serialOrder(node, true)) {
        nodes.change(next).profileTime = 0;
        if (nodes[next].dirty) {
            ran.push_back({next});
            compute(next);
            if (threw) {
                return;
            }
        }
    }
}

void World::computeOnly(const std::vector<Id>& these) {
    for (const Id node : these) {
        compute(node);
    }
}

void World::setAllNodeDirty(Id manager) {
    for (const auto& [name, node] : managers[manager].nodes) {
        nodes.change(node).dirty = true;
    }
}

void World::cacheNodeNetwork(Id manager, const std::string& name) {
    Manager& mine = managers.change(manager);
    if (mine.nodes.count(name) > 0) {
        mine.networkCache[name] = serialOrder(mine.nodes[name], false);
    }
}

void World::clearNodeCache(Id manager) {
    Manager& mine = managers.change(manager);
    for (auto entry = mine.nodeCache.begin(); entry != mine.nodeCache.end();) {
        if (entry->second.inUse) {
            ++entry;
            continue;
        }
        if (entry->second.node != none) {
            destroyMember(manager, entry->second.node);
        }
        entry = mine.nodeCache.erase(entry);
    }
}

void World::reset(Id manager) {
    Manager& mine = managers.change(manager);
    mine.nodes.clear();
    for (auto& [name, entry] : mine.nodeCache) {
        entry.inUse = false;
        if (entry.node != none) {
            resetNode(entry.node);
        }
    }
    mine.networkCache.clear();
}

void World::cleanNetwork(Id manager) {
    Manager& mine = managers.change(manager);
    for (const auto& [name, node] : mine.nodes) {
        destroyNode(node);
    }
    for (const auto& [name, entry] : mine.nodeCache) {
        if (!entry.inUse && entry.node != none) {
            destroyNode(entry.node);
        }
    }
    mine = Manager();
}

void World::assign(Id manager, Id other) {
    cleanNetwork(manager);
    if (manager == other) {
        return;
    }
    Manager& mine = managers.change(manager);
    const Manager from = managers[other];
    std::map<Id, Id> copies;
    for (const auto& [key, node] : from.nodes) {
        const std::string name = nodes[node].name;
        // Which of two nodes of one name the copy keeps, and what becomes of the other, is left open.
        isLeftOut = isLeftOut || mine.nodes.count(name) > 0;
        mine.nodes[name] = copies[node] = cloneNode(node);
    }
    const auto copyOf = [&](Id node) {
        const auto copy = copies.find(node);
        // A node of no network, or of another one, may have the name of one of ours.
        isLeftOut = isLeftOut || (copy == copies.end() && mine.nodes.count(nodes[node].name) > 0);
        return copy == copies.end() ? none : copy->second;
    };
    for (const auto& [name, order] : from.networkCache) {
        std::vector<Id> copied;
        for (const Id node : order) {
            if (copyOf(node) != none) {
                copied.push_back(copyOf(node));
            }
        }
        mine.networkCache[name] = copied;
    }
    for (const auto& [name, node] : from.nodes) {
        for (const Id port : nodes[node].inputs) {
            if (ports[port].connections.empty()) {
                continue;
            }
            const Id source = ports[port].connections.front();
            if (ports[source].node == none || copyOf(ports[source].node) == none) {
                continue;
            }
            const Id in = findPort(copyOf(node), ports[port].name, true);
            const Id out = findPort(copyOf(ports[source].node), ports[source].name, false);
            if (in != none && out != none) {
                connect(out, in);
            }
        }
    }
}

bool World::isOwned(Id node) const {
    for (Id manager = 0; manager < managers.size(); ++manager) {
        for (const auto& [name, member] : managers[manager].nodes) {
            if (member == node) {
                return true;
            }
        }
        for (const auto& [name, entry] : managers[manager].nodeCache) {
            if (entry.node == node) {
                return true;
            }
        }
    }
    return false;
}

bool World::isListed(Id port) const {
    for (Id node = 0; node < nodes.size(); ++node) {
        const Node& owner = nodes[node];
        if (owner.alive && (contains(owner.inputs, port) || contains(owner.outputs, port))) {
            return true;
        }
    }
    return false;
}

bool World::isSound() const {
    std::vector<std::vector<Id>> below(nodes.size());  // Each as often as there are links.
    std::vector<std::size_t> sources(nodes.size(), 0);
    for (std::size_t index = 0; index < ports.size(); ++index) {
        const Port& port = ports[index];
        if (!port.alive) {
            continue;
        }
        if (port.node != none && !nodes[port.node].alive) {
            return false;
        }
        for (const Id other : port.connections) {
            if (!ports[other].alive) {
                return false;
            }
            const Id from = port.input ? ports[other].node : port.node;
            const Id to = port.input ? port.node : ports[other].node;
            if (from == none || to == none) {
                continue;
            }
            if (from == to) {
                return false;
            }
            below[from].push_back(to);
            ++sources[to];
        }
    }
    for (Id manager = 0; manager < managers.size(); ++manager) {
        for (const auto& [name, order] : managers[manager].networkCache) {
            for (const Id node : order) {
                if (!nodes[node].alive) {
                    return false;
                }
            }
        }
    }
    std::size_t visited = 0;
    std::vector<Id> work;
    for (Id node = 0; node < nodes.size(); ++node) {
        if (sources[node] == 0) {
            work.push_back(node);
        }
    }
    while (!work.empty()) {
        const Id node = work.back();
        work.pop_back();
        ++visited;
        for (const Id next : below[node]) {
            if (--sources[next] == 0) {
                work.push_back(next);
            }
        }
    }
    return visited == nodes.size();
}

}  // namespace model
