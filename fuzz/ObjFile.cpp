// OBJ files of any text.

#include <tools/host/Errors.h>
#include <tools/host/ObjReader.h>

#include <fuzz/Expect.h>
#include <fuzz/QuietLog.h>
#include <fuzz/TextInput.h>

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const fuzz::TextInput input;
    input.fill(std::string(reinterpret_cast<const char*>(bytes), size));
    try {
        const TessilUtils::Mesh mesh = TessilHost::readObjFile(input.path());
        fuzz::expect(!mesh.triangles().empty(), "a file with faces gives triangles");
        float t = 0.0F, u = 0.0F, v = 0.0F;
        unsigned int face = 0;
        mesh.intersect({0.1F, 9.0F, 0.2F}, {0.0F, -1.0F, 0.0F}, t, face, u, v, true);
    } catch (const TessilHost::UserError& error) {
        fuzz::expect(std::string(error.what()).find('\n') == std::string::npos, "a reason in one line");
    }
    return 0;
}
