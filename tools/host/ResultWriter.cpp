#include <tools/host/ResultWriter.h>

#include <tools/host/Numbers.h>
#include <tools/host/PortValues.h>
#include <tools/host/TextTable.h>

#include <utility>

namespace TessilHost {

namespace {

constexpr const char* frameName = "frame";

class TableWriter : public ResultWriter {
public:
    TableWriter(std::vector<Column> columns, bool hasFrames)
        : columns_(std::move(columns)), table_(alignment(columns_, hasFrames)) {
        std::vector<std::string> heading;
        if (hasFrames) {
            heading.emplace_back(frameName);
        }
        for (const Column& column : columns_) {
            heading.push_back(column.name);
        }
        table_.addRow(std::move(heading));
    }

    void addRow(const double* frame) override {
        std::vector<std::string> cells;
        if (frame != nullptr) {
            cells.push_back(readableText(*frame));
        }
        for (const Column& column : columns_) {
            cells.push_back(portText(*column.port));
        }
        table_.addRow(std::move(cells));
    }

    std::string takeText() override { return table_.text(); }

private:
    static std::vector<TextTable::Align> alignment(const std::vector<Column>& columns, bool hasFrames) {
        std::vector<TextTable::Align> alignment;
        if (hasFrames) {
            alignment.push_back(TextTable::Align::Right);
        }
        for (const Column& column : columns) {
            alignment.push_back(isNumberPort(*column.port) ? TextTable::Align::Right : TextTable::Align::Left);
        }
        return alignment;
    }

    std::vector<Column> columns_;
    TextTable table_;
};

class CsvWriter : public ResultWriter {
public:
    CsvWriter(std::vector<Column> columns, bool hasFrames) : columns_(std::move(columns)) {
        if (hasFrames) {
            addField(frameName);
        }
        for (const Column& column : columns_) {
            for (const std::string& part : portPartNames(*column.port)) {
                addField(column.name + part);
            }
        }
        endLine();
    }

    void addRow(const double* frame) override {
        if (frame != nullptr) {
            addField(exactText(*frame));
        }
        for (const Column& column : columns_) {
            for (const std::string& part : portParts(*column.port)) {
                addField(part);
            }
        }
        endLine();
    }

    std::string takeText() override { return std::move(text_); }

private:
    void addField(const std::string& field) {
        text_ += atLineBegin_ ? "" : ",";
        atLineBegin_ = false;
        if (field.find_first_of(",\"\r\n") == std::string::npos) {
            text_ += field;
            return;
        }
        text_ += '"';
        for (const char character : field) {
            text_.append(character == '"' ? 2 : 1, character);
        }
        text_ += '"';
    }

    void endLine() {
        text_ += '\n';
        atLineBegin_ = true;
    }

    std::vector<Column> columns_;
    std::string text_;
    bool atLineBegin_ = true;
};

class JsonWriter : public ResultWriter {
public:
    explicit JsonWriter(std::vector<Column> columns) : columns_(std::move(columns)) {}

    void addRow(const double* frame) override {
        text_ += text_.empty() ? "[\n" : ",\n";
        const char* before = "  {";
        if (frame != nullptr) {
            text_ += before + member(frameName, exactText(*frame));
            before = ", ";
        }
        for (const Column& column : columns_) {
            text_ += before + member(column.name, portJson(*column.port));
            before = ", ";
        }
        text_ += '}';
    }

    std::string takeText() override { return std::move(text_ += text_.empty() ? "[]\n" : "\n]\n"); }

private:
    /// Names are of letters, digits, "-", "_" and a dot, so they need no escapes.
    static std::string member(const std::string& name, const std::string& value) { return '"' + name + "\": " + value; }

    std::vector<Column> columns_;
    std::string text_;
};

}  // namespace

std::unique_ptr<ResultWriter> makeResultWriter(Format format, std::vector<Column> columns, bool hasFrames) {
    switch (format) {
        case Format::Csv:
            return std::make_unique<CsvWriter>(std::move(columns), hasFrames);
        case Format::Json:
            return std::make_unique<JsonWriter>(std::move(columns));
        case Format::Table:
            break;
    }
    return std::make_unique<TableWriter>(std::move(columns), hasFrames);
}

}  // namespace TessilHost
