// Writes the network of the vehicle example:
//
//     vehicle_network vehicle.json
//
// A vehicle follows a winding path from west to east over the ground of Terrain.h. Metres and radians
// unless a name says otherwise; x points east, y north, z up. In the vehicle's own frame x points
// forward, y to its left, z up. Bends and steering to the left are positive, as is a roll that lifts
// the left side.

#include <cctype>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <string>
#include <vector>

namespace {

/// A port and what it gets: the "node.port" it is wired to, or a value as it stands in the file.
struct Input {
    std::string port;
    std::string source;
    bool isConnection() const { return std::isalpha(static_cast<unsigned char>(source.front())) != 0; }
};

/// Collects the nodes and connections of a network file, group by group.
class NetworkFile {
public:
    /// What follows is set apart in the file by an empty line.
    void beginGroup() {
        addGap(nodes_);
        addGap(connections_);
    }

    /// Adds a node and wires it. Returns the place of its output, "name.output".
    std::string add(const std::string& type, const std::string& name, std::initializer_list<Input> inputs,
                    const std::string& output = "out") {
        std::string values;
        std::string wires;
        for (const Input& input : inputs) {
            if (input.isConnection()) {
                wires += (wires.empty() ? "" : ", ");
                wires += "[\"" + input.source + "\", \"" + name + "." + input.port + "\"]";
            } else {
                values += (values.empty() ? "" : ", ");
                values += "\"" + input.port + "\": " + input.source;
            }
        }
        nodes_.push_back("{ \"name\": \"" + name + "\", \"type\": \"" + type + "\"" +
                         (values.empty() ? "" : ", \"values\": { " + values + " }") + " }");
        if (!wires.empty()) {
            connections_.push_back(wires);
        }
        return name + "." + output;
    }

    void write(std::ostream& file, const std::string& head) const {
        file << "{\n" << head << "  \"nodes\": [\n";
        writeLines(file, nodes_);
        file << "  ],\n  \"connections\": [\n";
        writeLines(file, connections_);
        file << "  ]\n}\n";
    }

private:
    static void addGap(std::vector<std::string>& lines) {
        if (!lines.empty() && !lines.back().empty()) {
            lines.emplace_back();
        }
    }

    static void writeLines(std::ostream& file, const std::vector<std::string>& lines) {
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].empty()) {
                file << "\n";
            } else {
                file << "    " << lines[i] << (i + 1 < lines.size() ? ",\n" : "\n");
            }
        }
    }

    std::vector<std::string> nodes_;
    std::vector<std::string> connections_;
};

const char* const wheelBase = "2.6";
const char* const halfTrack = "0.8";
const char* const wheelRadius = "0.4";
const char* const valveRadius = "0.3";
const char* const rideHeight = "0.75";  // of the body's origin over the plane of the four wheel contacts

const char* const head =
    R"(  "description": "A vehicle follows a path over a terrain: drive frame.in from 1 to 240. Written by vehicle_network.",
  "curves": {
    "path": { "degree": 3, "cvs": [
      [-72, 25.5, 0], [-64, 27, 0], [-56, 20, 0], [-48, 7.5, 0], [-40, -8, 0], [-32, -20.5, 0], [-24, -27, 0],
      [-16, -25, 0], [-8, -14, 0], [0, 0.5, 0], [8, 15, 0], [16, 24.5, 0], [24, 27, 0], [32, 20, 0],
      [40, 7, 0], [48, -8, 0], [56, -21, 0], [64, -27, 0], [72, -25, 0]
    ] }
  },
  "meshes": { "ground": { "file": "terrain.obj" } },
)";

/// The four wheels, and what the rest of the rig knows of each.
struct Wheel {
    std::string name;
    bool isFront;
    bool isLeft;
    std::string hit = {};     // contact with the ground
    std::string rate = {};    // metres over ground for each metre of the rear axle's middle, on the flat
    std::string steer = {};   // front wheels only
    std::string rolled = {};  // metres since the start
};

/// The frame becomes a time that slows down, stands still around frame 126 and goes on.
void addClock(NetworkFile& rig) {
    rig.beginGroup();
    const std::string frame = rig.add("BufferDouble", "frame", {{"in", "1"}});
    const std::string fromHalt = rig.add("SubtractDouble", "fromHalt", {{"in1", frame}, {"in2", "126"}});
    const std::string toHalt = rig.add("AbsDouble", "toHalt", {{"in", fromHalt}});
    const std::string toStop = rig.add("SubtractDouble", "toStop", {{"in1", toHalt}, {"in2", "6"}});
    const std::string ramp = rig.add("DivideDouble", "ramp", {{"in1", toStop}, {"in2", "16"}});
    const std::string notBack = rig.add("MaxDouble", "notBackwards", {{"in1", ramp}, {"in2", "0"}});
    const std::string pace = rig.add("MinDouble", "pace", {{"in1", notBack}, {"in2", "1"}});
    rig.add("TimeNode", "clock", {{"inputFrame", frame}, {"fps", "8"}, {"frameRate", pace}}, "seconds");
}

/// A guide swings from west to east along a sine; the rear axle stands at the path's nearest place.
void addPlaceOnPath(NetworkFile& rig) {
    rig.beginGroup();
    const std::string east = rig.add("MultiplyDouble", "guideEast", {{"in1", "clock.seconds"}, {"in2", "5"}});
    const std::string x = rig.add("AddDouble", "guideX", {{"in1", east}, {"in2", "-68"}});
    const std::string phase = rig.add("MultiplyDouble", "guidePhase", {{"in1", x}, {"in2", "0.0714"}});
    const std::string swing = rig.add("SinDouble", "guideSwing", {{"in", phase}});
    const std::string y = rig.add("MultiplyDouble", "guideY", {{"in1", swing}, {"in2", "26"}});
    const std::string guide = rig.add("DoubleToVector", "guide", {{"x", x}, {"y", y}}, "vec");
    rig.add("ClosetPointOnCurve", "place", {{"inCurve", R"({ "curve": "path" })"}, {"inPosition", guide}});
    rig.add("NormalizedVector", "heading", {{"in", "place.outTangent"}});

    // The parameter times the length of the derivative there, summed up: metres from the path's start.
    const std::string length = rig.add("LengthVector", "metresPerParameter", {{"in", "place.outTangent"}});
    rig.add("TimeNode", "odometer", {{"inputFrame", "place.outParameter"}, {"frameRate", length}}, "frame");
}

/// How sharply the path bends: the turn between a place half a metre ahead and one half a metre behind.
void addBend(NetworkFile& rig) {
    rig.beginGroup();
    const std::string look = rig.add("ScaleVector", "lookAhead", {{"in1", "heading.out"}, {"in2", "0.5"}});
    const std::string aheadOf = rig.add("AddVector", "aheadGuide", {{"in1", "place.outPosition"}, {"in2", look}});
    const std::string behindOf =
        rig.add("SubtractVector", "behindGuide", {{"in1", "place.outPosition"}, {"in2", look}});
    rig.add("ClosetPointOnCurve", "ahead", {{"inCurve", R"({ "curve": "path" })"}, {"inPosition", aheadOf}});
    rig.add("ClosetPointOnCurve", "behind", {{"inCurve", R"({ "curve": "path" })"}, {"inPosition", behindOf}});
    const std::string cross =
        rig.add("CrossVector", "turnAxis", {{"in1", "behind.outTangent"}, {"in2", "ahead.outTangent"}});
    const std::string along =
        rig.add("DotVector", "turnCosine", {{"in1", "behind.outTangent"}, {"in2", "ahead.outTangent"}});
    rig.add("VectorToDouble", "turnParts", {{"vec", cross}});
    const std::string turn = rig.add("Atan2Double", "turn", {{"in1", "turnParts.z"}, {"in2", along}});
    const std::string span =
        rig.add("SubtractVector", "turnSpan", {{"in1", "ahead.outPosition"}, {"in2", "behind.outPosition"}});
    const std::string length = rig.add("LengthVector", "turnLength", {{"in", span}});
    rig.add("DivideDouble", "bend", {{"in1", turn}, {"in2", length}});
}

/// Each wheel is cast onto the ground from 40 m up.
void addWheelContacts(NetworkFile& rig, std::vector<Wheel>& wheels) {
    rig.beginGroup();
    const std::string left = rig.add("CrossVector", "left", {{"in1", "[0, 0, 1]"}, {"in2", "heading.out"}});
    const std::string side = rig.add("ScaleVector", "side", {{"in1", left}, {"in2", halfTrack}});
    const std::string reach = rig.add("ScaleVector", "reach", {{"in1", "heading.out"}, {"in2", wheelBase}});
    const std::string rear = rig.add("AddVector", "rearAxle", {{"in1", "place.outPosition"}, {"in2", "[0, 0, 40]"}});
    const std::string front = rig.add("AddVector", "frontAxle", {{"in1", rear}, {"in2", reach}});
    for (Wheel& wheel : wheels) {
        const std::string above = rig.add(wheel.isLeft ? "AddVector" : "SubtractVector", "above" + wheel.name,
                                          {{"in1", wheel.isFront ? front : rear}, {"in2", side}});
        wheel.hit = rig.add("MeshRayCast", "hit" + wheel.name,
                            {{"inMesh", R"({ "mesh": "ground" })"}, {"inOrigin", above}, {"inDirection", "[0, 0, -1]"}},
                            "outPosition");
    }
    const std::string both = rig.add("IfBool", "frontGrounded",
                                     {{"if", "hitFrontLeft.outIntersect"}, {"in1", "hitFrontRight.outIntersect"}});
    const std::string three = rig.add("IfBool", "threeGrounded", {{"if", both}, {"in1", "hitRearLeft.outIntersect"}});
    rig.add("IfBool", "grounded", {{"if", three}, {"in1", "hitRearRight.outIntersect"}});
}

/// The body stands over the middle of the contacts, along their mean plane; level, beyond the ground's edge.
void addBody(NetworkFile& rig) {
    rig.beginGroup();
    const auto middle = [&rig](const std::string& name, const std::string& one, const std::string& other) {
        return rig.add("BlendVectors", name, {{"inVector1", one}, {"inVector2", other}, {"inParameter", "0.5"}},
                       "outVector");
    };
    const std::string front = middle("middleFront", "hitFrontLeft.outPosition", "hitFrontRight.outPosition");
    const std::string rear = middle("middleRear", "hitRearLeft.outPosition", "hitRearRight.outPosition");
    const std::string left = middle("middleLeft", "hitFrontLeft.outPosition", "hitRearLeft.outPosition");
    const std::string right = middle("middleRight", "hitFrontRight.outPosition", "hitRearRight.outPosition");
    const std::string centre = middle("centre", front, rear);
    const std::string forward = rig.add("SubtractVector", "forward", {{"in1", front}, {"in2", rear}});
    const std::string leftward = rig.add("SubtractVector", "leftward", {{"in1", left}, {"in2", right}});
    const std::string normal = rig.add("CrossVector", "normal", {{"in1", forward}, {"in2", leftward}});
    const std::string up = rig.add("NormalizedVector", "up", {{"in", normal}});
    const std::string ride = rig.add("ScaleVector", "ride", {{"in1", up}, {"in2", rideHeight}});
    const std::string position = rig.add("AddVector", "bodyPosition", {{"in1", centre}, {"in2", ride}});
    const std::string onGround =
        rig.add("ComputeLocalFrameMatrix", "bodyOnGround", {{"pos", position}, {"xDir", forward}, {"normal", up}});
    const std::string level = rig.add("ComputeLocalFrameMatrix", "bodyLevel",
                                      {{"pos", "place.outPosition"}, {"xDir", "heading.out"}, {"normal", "[0, 0, 1]"}});
    const std::string body = rig.add("IfMatrix", "body", {{"if", "grounded.out"}, {"in1", onGround}, {"in2", level}});
    rig.add("MatrixToVector", "bodyRows", {{"matrix", body}});

    const std::string euler = rig.add("ExtractEulerXYZMatrix", "bodyEuler", {{"matrix", body}});
    rig.add("VectorToDouble", "bodyAngles", {{"vec", euler}});
    const char* const degrees = "57.29577951308232";
    rig.add("MultiplyDouble", "rollDegrees", {{"in1", "bodyAngles.x"}, {"in2", degrees}});
    // A turn about the axis to the left lowers the nose.
    rig.add("MultiplyDouble", "pitchDegrees", {{"in1", "bodyAngles.y"}, {"in2", "-57.29577951308232"}});
    rig.add("MultiplyDouble", "headingDegrees", {{"in1", "bodyAngles.z"}, {"in2", degrees}});
    const std::string cosine = rig.add("CosDouble", "pitchCosine", {{"in", "bodyAngles.y"}});
    rig.add("DivideDouble", "climbFactor", {{"in1", "1"}, {"in2", cosine}});
}

/// In a bend the outer wheels go farther than the inner ones and the front ones farther than the rear
/// ones, which stay in line; each wheel rolls by what it covers.
void addRolling(NetworkFile& rig, std::vector<Wheel>& wheels) {
    rig.beginGroup();
    const std::string lag = rig.add("MultiplyDouble", "sideBend", {{"in1", "bend.out"}, {"in2", halfTrack}});
    const std::string swing = rig.add("MultiplyDouble", "frontSwing", {{"in1", "bend.out"}, {"in2", wheelBase}});
    const std::string leftRate = rig.add("SubtractDouble", "leftRate", {{"in1", "1"}, {"in2", lag}});
    const std::string rightRate = rig.add("AddDouble", "rightRate", {{"in1", "1"}, {"in2", lag}});
    for (Wheel& wheel : wheels) {
        const std::string& straight = wheel.isLeft ? leftRate : rightRate;
        if (wheel.isFront) {
            const std::string way =
                rig.add("DoubleToVector", "way" + wheel.name, {{"x", straight}, {"y", swing}}, "vec");
            wheel.rate = rig.add("LengthVector", "rate" + wheel.name, {{"in", way}});
            wheel.steer = rig.add("Atan2Double", "steer" + wheel.name, {{"in1", swing}, {"in2", straight}});
        } else {
            wheel.rate = straight;
        }
        wheel.rolled =
            rig.add("TimeNode", "rolled" + wheel.name,
                    {{"inputFrame", "odometer.frame"}, {"frameRate", wheel.rate}, {"animFrameRate", "climbFactor.out"}},
                    "frame");
    }
}

/// Each wheel's own matrix: turned about its axle, steered, put at its place beside the body. The valve is a
/// mark on the wheel that starts below the axle.
void addWheels(NetworkFile& rig, const std::vector<Wheel>& wheels) {
    rig.beginGroup();
    const std::string lift = rig.add("ScaleVector", "axleLift", {{"in1", "bodyRows.row3"}, {"in2", wheelRadius}});
    for (const Wheel& wheel : wheels) {
        const std::string angle =
            rig.add("DivideDouble", "angle" + wheel.name, {{"in1", wheel.rolled}, {"in2", wheelRadius}});
        std::string turned =
            rig.add("SetAxisAngleMatrix", "spin" + wheel.name, {{"axis", "[0, 1, 0]"}, {"angle", angle}});
        if (wheel.isFront) {
            const std::string euler = rig.add("DoubleToVector", "steerEuler" + wheel.name, {{"z", wheel.steer}}, "vec");
            const std::string steer = rig.add("SetRotationMatrix", "steerMatrix" + wheel.name, {{"vector", euler}});
            turned = rig.add("MultiplyMatrix", "turned" + wheel.name, {{"in1", turned}, {"in2", steer}});
        }
        const std::string centre = rig.add("AddVector", "axle" + wheel.name, {{"in1", wheel.hit}, {"in2", lift}});
        const std::string hub = rig.add(
            "VectorToMatrix", "hub" + wheel.name,
            {{"row1", "bodyRows.row1"}, {"row2", "bodyRows.row2"}, {"row3", "bodyRows.row3"}, {"row4", centre}});
        const std::string matrix = rig.add("MultiplyMatrix", "wheel" + wheel.name, {{"in1", turned}, {"in2", hub}});
        rig.add("MultiVecMatrix", "valve" + wheel.name,
                {{"matrix", matrix}, {"vector", std::string("[0, 0, -") + valveRadius + "]"}});

        // How far the contact lies above the mean plane of the four.
        const std::string arm =
            rig.add("SubtractVector", "arm" + wheel.name, {{"in1", wheel.hit}, {"in2", "centre.outVector"}});
        rig.add("DotVector", "travel" + wheel.name, {{"in1", arm}, {"in2", "bodyRows.row3"}});
    }
}

/// What the driver does, as words and numbers: switched with compare and if nodes. Operations: 0 equal,
/// 2 less, 3 greater, 4 less or equal.
void addDriver(NetworkFile& rig) {
    rig.beginGroup();
    const std::string stands =
        rig.add("CompareDouble", "stands", {{"in1", "clock.outFrameRate"}, {"in2", "0"}, {"operation", "0"}});
    const std::string slow =
        rig.add("CompareDouble", "slow", {{"in1", "clock.outFrameRate"}, {"in2", "1"}, {"operation", "2"}});
    const std::string before =
        rig.add("CompareDouble", "beforeHalt", {{"in1", "frame.out"}, {"in2", "126"}, {"operation", "4"}});
    const std::string brakes = rig.add("IfBool", "brakes", {{"if", slow}, {"in1", before}});
    const std::string moving =
        rig.add("IfString", "moving", {{"if", brakes}, {"in1", "\"brake\""}, {"in2", "\"drive\""}});
    rig.add("IfString", "state", {{"if", stands}, {"in1", "\"stand\""}, {"in2", moving}});
    rig.add("IfVector", "brakeLamp", {{"if", brakes}, {"in1", "[1, 0.1, 0]"}, {"in2", "[0.2, 0, 0]"}});

    const std::string climbs =
        rig.add("CompareDouble", "climbs", {{"in1", "pitchDegrees.out"}, {"in2", "7"}, {"operation", "3"}});
    const std::string descends =
        rig.add("CompareDouble", "descends", {{"in1", "pitchDegrees.out"}, {"in2", "-7"}, {"operation", "2"}});
    const std::string downhill = rig.add("IfLong", "downhillGear", {{"if", descends}, {"in1", "2"}, {"in2", "3"}});
    const std::string moves = rig.add("IfLong", "movingGear", {{"if", climbs}, {"in1", "1"}, {"in2", downhill}});
    rig.add("IfLong", "gear", {{"if", stands}, {"in1", "0"}, {"in2", moves}});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: vehicle_network FILE.json\n";
        return 2;
    }
    NetworkFile rig;
    std::vector<Wheel> wheels = {
        {"FrontLeft", true, true}, {"FrontRight", true, false}, {"RearLeft", false, true}, {"RearRight", false, false}};
    addClock(rig);
    addPlaceOnPath(rig);
    addBend(rig);
    addWheelContacts(rig, wheels);
    addBody(rig);
    addRolling(rig, wheels);
    addWheels(rig, wheels);
    addDriver(rig);

    std::ofstream file(argv[1]);
    rig.write(file, head);
    file.close();
    if (!file) {
        std::cerr << argv[1] << ": cannot be written\n";
        return 2;
    }
    return 0;
}
