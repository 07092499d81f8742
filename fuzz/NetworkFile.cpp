// The command-line host: a network file of any text, and values and addresses of any text for it.

#include <tools/host/Arguments.h>
#include <tools/host/Commands.h>
#include <tools/host/Errors.h>
#include <tools/host/FrameRange.h>

#include <TessilGraph/graph/initTessilGraph.h>

#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>
#include <fuzz/TextInput.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// Texts of the arguments come first, a line for each kind; the rest is the file.
std::string takeLine(std::string& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    return line;
}

/// Several texts in a line, with tabs between them.
std::vector<std::string> takeTexts(std::string& text) {
    std::vector<std::string> texts;
    std::istringstream line(takeLine(text));
    for (std::string part; std::getline(line, part, '\t');) {
        texts.push_back(part);
    }
    return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const bool isStarted = (TessilGraph::initTessilGraph(), true);
    static_cast<void>(isStarted);
    static const fuzz::TextInput input;
    std::string text(reinterpret_cast<const char*>(bytes), size);

    TessilHost::EvalArguments arguments;
    arguments.network = input.path();
    arguments.gets = takeTexts(text);
    if (arguments.gets.empty()) {
        arguments.gets = {""};
    }
    arguments.sets = takeTexts(text);
    const std::string frames = takeLine(text);
    arguments.drive = takeLine(text);
    const std::string how = takeLine(text);
    arguments.parallel = how.find('p') != std::string::npos;
    arguments.cache = how.find('c') != std::string::npos;
    arguments.format = how.find('j') != std::string::npos   ? TessilHost::Format::Json
                       : how.find('v') != std::string::npos ? TessilHost::Format::Csv
                                                            : TessilHost::Format::Table;
    input.fill(text);
    try {
        // A range of very many frames takes long, and there is no more to find in it.
        if (!frames.empty() && TessilHost::FrameRange::parse(frames).count() <= 50) {
            arguments.frames = frames;
        }
        if (arguments.frames.empty()) {
            arguments.drive.clear();
        }
        TessilHost::evaluate(arguments, nullptr);
    } catch (const TessilHost::UserError& error) {
        fuzz::expect(error.what()[0] != '\0', "a reason for what is refused");
        fuzz::expect(std::string(error.what()).find('\n') == std::string::npos, "a reason in one line");
    }
    return 0;
}
