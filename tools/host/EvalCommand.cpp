#include <tools/host/Commands.h>
#include <tools/host/Errors.h>
#include <tools/host/FrameColumns.h>
#include <tools/host/FrameRange.h>
#include <tools/host/LogCapture.h>
#include <tools/host/NetworkFile.h>
#include <tools/host/Output.h>
#include <tools/host/PortAddress.h>
#include <tools/host/PortValues.h>
#include <tools/host/Progress.h>
#include <tools/host/Text.h>

#include <TessilGraph/exec/Frames.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace TessilHost {

namespace {

using TessilGraph::Port;

/// Runs `use`, whose complaints about a value get the name of the argument in front.
template <class Use>
auto withArgument(const std::string& option, const std::string& argument, const Use& use) {
    try {
        return use();
    } catch (const ValueError& error) {
        throw UserError(option + " " + inQuotes(argument) + ": " + error.what());
    }
}

/// An input that shows what is set on it. One that is connected shows its source instead.
Port& requireFreeInput(TessilGraph::NetworkManager& manager, const PortAddress& address) {
    Port& input = requireInput(requireNode(manager, address.node), address.port);
    if (const Port* const source = input.input()) {
        throw ValueError("the port is fed by " + source->node()->name() + "." + source->name() +
                         ", so a value set on it would not be seen");
    }
    return input;
}

class Evaluation {
public:
    Evaluation(const EvalArguments& arguments, LogCapture& log)
        : arguments_(arguments), network_(readNetworkFile(arguments.network, log)) {
        for (const std::string& file : network_->objFiles) {
            requireOtherFile(arguments.output, file, "an OBJ file of the network");
        }
        resolveGets();
        applySets();
        resolveFrames();
    }

    std::string run(std::ostream* terminal) {
        if (arguments_.cache && !frames_) {
            for (const std::string& node : nodes_) {
                network_->manager.cacheNodeNetwork(node);
            }
        }
        if (frames_) {
            return runFrames(terminal);
        }
        const std::unique_ptr<ResultWriter> writer = makeResultWriter(arguments_.format, columns_, false);
        computeNodes();
        writer->addRow(nullptr);
        return writer->takeText();
    }

private:
    void resolveGets() {
        std::set<std::string> names;
        std::set<std::string> nodes;
        for (const std::string& get : arguments_.gets) {
            withArgument("--get", get, [&] {
                const PortAddress address = PortAddress::parse(get);
                Port& port = requirePort(requireNode(network_->manager, address.node), address.port);
                if (!names.insert(get).second) {
                    throw ValueError("the port is asked for twice");
                }
                columns_.push_back({get, &port});
                if (nodes.insert(address.node).second) {
                    nodes_.push_back(address.node);
                }
            });
        }
    }

    void applySets() {
        std::set<std::string> names;
        for (const std::string& set : arguments_.sets) {
            withArgument("--set", set, [&] {
                const std::size_t equals = set.find('=');
                if (equals == std::string::npos) {
                    throw ValueError("wants NODE.PORT=VALUE");
                }
                const std::string name = set.substr(0, equals);
                Port& port = requireFreeInput(network_->manager, PortAddress::parse(name));
                if (!names.insert(name).second) {
                    throw ValueError("the port is set twice");
                }
                setPortValueFromText(port, set.substr(equals + 1), network_->geometry);
            });
        }
    }

    void resolveFrames() {
        if (arguments_.frames.empty()) {
            return;
        }
        frames_ = FrameRange::parse(arguments_.frames);
        withArgument("--drive", arguments_.drive, [&] {
            driven_ = &requireFreeInput(network_->manager, PortAddress::parse(arguments_.drive));
            if (!isNumberPort(*driven_)) {
                throw ValueError("a " + driven_->typeStr() + " takes no frame numbers");
            }
            if (isIntegerPort(*driven_) && !frames_->isIntegral()) {
                throw ValueError("a " + driven_->typeStr() + " takes integers of 32 bits only, which the frames " +
                                 inQuotes(arguments_.frames) + " are not");
            }
        });
    }

    std::string runFrames(std::ostream* terminal) {
        TessilGraph::Frames frames(network_->manager, frames_->count());
        drive(frames, PortAddress::parse(arguments_.drive), *driven_, *frames_);
        std::vector<std::unique_ptr<FrameColumn>> shown;
        std::vector<Column> columns;
        for (const Column& column : columns_) {
            shown.push_back(collect(frames, PortAddress::parse(column.name), *column.port));
            columns.push_back({column.name, &shown.back()->port()});
        }

        Progress progress(frames_->count(), terminal);
        std::uint64_t shownFrames = 0;
        TessilGraph::RunOptions options;
        options.parallel = arguments_.parallel;
        options.progress = [&](std::uint64_t done, std::uint64_t) {
            for (; shownFrames < done; ++shownFrames) {
                progress.advance();
            }
        };
        frames.run(nullptr, options);

        const std::unique_ptr<ResultWriter> writer = makeResultWriter(arguments_.format, columns, true);
        for (const auto& column : shown) {
            column->take(frames);
        }
        for (std::uint64_t i = 0; i < frames_->count(); ++i) {
            for (const auto& column : shown) {
                column->choose(i);
            }
            const double frame = frames_->frame(i);
            writer->addRow(&frame);
        }
        return writer->takeText();
    }

    void computeNodes() {
        for (const std::string& node : nodes_) {
            network_->manager.computeNode(node, nullptr, arguments_.parallel, arguments_.cache);
        }
    }

    const EvalArguments& arguments_;
    std::unique_ptr<Network> network_;
    std::vector<Column> columns_;
    std::vector<std::string> nodes_;
    std::optional<FrameRange> frames_;
    Port* driven_ = nullptr;
};

}  // namespace

std::string evaluate(const EvalArguments& arguments, std::ostream* terminal) {
    LogCapture log;
    std::string text = Evaluation(arguments, log).run(terminal);
    const std::string messages = log.take();
    if (!messages.empty()) {
        throw UserError(oneLine(arguments.network) + ": while it was evaluated: " + oneLine(messages));
    }
    return text;
}

}  // namespace TessilHost
