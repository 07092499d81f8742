#pragma once

#include <TessilGraph/graph/Port.h>

#include <memory>
#include <string>
#include <vector>

namespace TessilHost {

/// The forms in which results are written. Tables are for eyes and shorten numbers to ten digits;
/// the other two write numbers that read back exactly.
enum class Format { Table, Csv, Json };

/// A port to read, and the name of its column.
struct Column {
    std::string name;
    TessilGraph::Port* port;
};

/// Writes a row of port values a frame.
class ResultWriter {
public:
    virtual ~ResultWriter() = default;

    /// Reads all ports and adds them as a row; with the frame's number before them when there is one.
    virtual void addRow(const double* frame) = 0;

    /// The whole text. The writer is of no use afterwards.
    virtual std::string takeText() = 0;
};

/// The writer of a form. `hasFrames` says whether each row comes with a frame.
std::unique_ptr<ResultWriter> makeResultWriter(Format format, std::vector<Column> columns, bool hasFrames);

}  // namespace TessilHost
