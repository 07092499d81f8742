#include <TessilGraph/graph/PortTemplate.h>

#include <TessilGraph/graph/Node.h>

#include <TessilUtils/Curve.h>
#include <TessilUtils/Image.h>
#include <TessilUtils/Mesh.h>

#include <tests/support/CollectedLog.h>
#include <tests/support/ProbeNode.h>

#include <Imath/ImathMatrix.h>
#include <Imath/ImathQuat.h>
#include <Imath/ImathVec.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace TessilGraph {
namespace {

using TessilUtils::Curve;
using TessilUtils::Image;
using TessilUtils::Mesh;
using tests::Pipe;
using tests::Sum;

template <class T>
bool same(const T& left, const T& right) {
    return left == right;
}

bool same(const Curve& left, const Curve& right) {
    return left.cvs() == right.cvs() && left.degree() == right.degree();
}

bool same(const Mesh& left, const Mesh& right) {
    return left.points() == right.points() && left.triangles() == right.triangles() &&
           left.faceVertexNormals() == right.faceVertexNormals();
}

bool same(const Image& left, const Image& right) {
    return left.width() == right.width() && left.height() == right.height() && left.channels() == right.channels();
}

template <class T>
bool same(const std::vector<T>& left, const std::vector<T>& right) {
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t index = 0; index < left.size(); ++index) {
        const T& leftItem = left[index];
        const T& rightItem = right[index];
        if (!same(leftItem, rightItem)) {
            return false;
        }
    }
    return true;
}

bool same(const std::vector<bool>& left, const std::vector<bool>& right) {
    return left == right;
}

Curve someCurve(float height) {
    return Curve({Imath::V3f(0, 0, 0), Imath::V3f(1, height, 0), Imath::V3f(2, 0, 0), Imath::V3f(3, 0, 1)});
}

Mesh someMesh(float height) {
    return Mesh({Imath::V3f(0, 0, 0), Imath::V3f(1, height, 0), Imath::V3f(2, 0, 0)}, {0, 1, 2});
}

/// What the documents promise about the port of one value type, and two values to work with.
template <class T>
struct Facts;

template <>
struct Facts<bool> {
    static constexpr const char* typeStr = "BooleanPort";
    static bool initial() { return false; }
    static bool first() { return true; }
    static bool second() { return false; }
};

template <>
struct Facts<std::int32_t> {
    static constexpr const char* typeStr = "LongPort";
    static std::int32_t initial() { return 0; }
    static std::int32_t first() { return std::numeric_limits<std::int32_t>::min(); }
    static std::int32_t second() { return std::numeric_limits<std::int32_t>::max(); }
};

template <>
struct Facts<double> {
    static constexpr const char* typeStr = "DoublePort";
    static double initial() { return 0.0; }
    static double first() { return 2.5; }
    static double second() { return -1e300; }
};

template <>
struct Facts<std::string> {
    static constexpr const char* typeStr = "StringPort";
    static std::string initial() { return ""; }
    static std::string first() { return std::string("a\0b\xff", 4); }
    static std::string second() { return std::string(1000, 'x'); }
};

template <>
struct Facts<Imath::M44d> {
    static constexpr const char* typeStr = "MatrixPort";
    static Imath::M44d initial() { return Imath::M44d(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1); }
    static Imath::M44d first() { return Imath::M44d(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16); }
    static Imath::M44d second() { return Imath::M44d(2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 7, 8, 9, 1); }
};

template <>
struct Facts<Imath::V3d> {
    static constexpr const char* typeStr = "VectorPort";
    static Imath::V3d initial() { return Imath::V3d(0, 0, 0); }
    static Imath::V3d first() { return Imath::V3d(1, -2, 3); }
    static Imath::V3d second() { return Imath::V3d(0, 1e-300, 4); }
};

template <>
struct Facts<Imath::Quatd> {
    static constexpr const char* typeStr = "QuaternionPort";
    static Imath::Quatd initial() { return Imath::Quatd(1, 0, 0, 0); }
    static Imath::Quatd first() { return Imath::Quatd(0, 1, 0, 0); }
    static Imath::Quatd second() { return Imath::Quatd(0.5, 0.5, -0.5, 0.5); }
};

template <>
struct Facts<Curve> {
    static constexpr const char* typeStr = "CurvePort";
    static Curve initial() { return Curve(); }
    static Curve first() { return someCurve(1); }
    static Curve second() { return someCurve(2); }
};

template <>
struct Facts<Mesh> {
    static constexpr const char* typeStr = "MeshPort";
    static Mesh initial() { return Mesh(); }
    static Mesh first() { return someMesh(1); }
    static Mesh second() { return someMesh(2); }
};

template <>
struct Facts<Image> {
    static constexpr const char* typeStr = "ImagePort";
    static Image initial() { return Image(); }
    static Image first() { return Image(3, 2, 4); }
    static Image second() { return Image(2, 3, 1); }
};

Curve outsideCurves[2];
Mesh outsideMeshes[2];

template <>
struct Facts<Curve*> {
    static constexpr const char* typeStr = "CurveRefPort";
    static Curve* initial() { return nullptr; }
    static Curve* first() { return &outsideCurves[0]; }
    static Curve* second() { return &outsideCurves[1]; }
};

template <>
struct Facts<Mesh*> {
    static constexpr const char* typeStr = "MeshRefPort";
    static Mesh* initial() { return nullptr; }
    static Mesh* first() { return &outsideMeshes[0]; }
    static Mesh* second() { return &outsideMeshes[1]; }
};

template <class T>
struct ArrayFacts {
    static std::vector<T> initial() { return {}; }
    static std::vector<T> first() { return {Facts<T>::first(), Facts<T>::second(), Facts<T>::first()}; }
    static std::vector<T> second() { return {Facts<T>::second()}; }
};

template <>
struct Facts<std::vector<bool>> : ArrayFacts<bool> {
    static constexpr const char* typeStr = "BooleanArrayPort";
};
template <>
struct Facts<std::vector<std::int32_t>> : ArrayFacts<std::int32_t> {
    static constexpr const char* typeStr = "LongArrayPort";
};
template <>
struct Facts<std::vector<double>> : ArrayFacts<double> {
    static constexpr const char* typeStr = "DoubleArrayPort";
};
template <>
struct Facts<std::vector<std::string>> : ArrayFacts<std::string> {
    static constexpr const char* typeStr = "StringArrayPort";
};
template <>
struct Facts<std::vector<Imath::M44d>> : ArrayFacts<Imath::M44d> {
    static constexpr const char* typeStr = "MatrixArrayPort";
};
template <>
struct Facts<std::vector<Imath::V3d>> : ArrayFacts<Imath::V3d> {
    static constexpr const char* typeStr = "VectorArrayPort";
};
template <>
struct Facts<std::vector<Imath::Quatd>> : ArrayFacts<Imath::Quatd> {
    static constexpr const char* typeStr = "QuaternionArrayPort";
};
template <>
struct Facts<std::vector<Curve>> : ArrayFacts<Curve> {
    static constexpr const char* typeStr = "CurveArrayPort";
};
template <>
struct Facts<std::vector<Mesh>> : ArrayFacts<Mesh> {
    static constexpr const char* typeStr = "MeshArrayPort";
};

/// A node that does nothing, with one input and one output of type `T`.
template <class T>
class Holder : public Node {
public:
    Holder() {
        addInputPort(in);
        addOutputPort(out);
    }

    std::string typeStr() const override { return "Holder"; }
    unsigned int typeId() const override { return 9900; }
    Node* clone() override { return nullptr; }

    PortTemplate<T>* const in = new PortTemplate<T>("in");
    PortTemplate<T>* const out = new PortTemplate<T>("out");
};

template <class T>
class PortTemplateOf : public testing::Test {};

using AllTypes =
    testing::Types<bool, std::int32_t, double, std::string, Imath::M44d, Imath::V3d, Imath::Quatd, Curve, Mesh, Image,
                   Curve*, Mesh*, std::vector<bool>, std::vector<std::int32_t>, std::vector<double>,
                   std::vector<std::string>, std::vector<Imath::M44d>, std::vector<Imath::V3d>,
                   std::vector<Imath::Quatd>, std::vector<Curve>, std::vector<Mesh>>;

struct NameOfType {
    template <class T>
    static std::string GetName(int) {
        return Facts<T>::typeStr;
    }
};

TYPED_TEST_SUITE(PortTemplateOf, AllTypes, NameOfType);

TYPED_TEST(PortTemplateOf, HasItsTypeStringAndDefault) {
    const PortTemplate<TypeParam> port("value");
    EXPECT_EQ(PortTemplate<TypeParam>::staticTypeStr(), Facts<TypeParam>::typeStr);
    EXPECT_EQ(port.typeStr(), Facts<TypeParam>::typeStr);
    const Port& base = port;
    EXPECT_EQ(base.typeStr(), Facts<TypeParam>::typeStr);
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::initial()));
    EXPECT_TRUE(same(port.getRef(), Facts<TypeParam>::initial()));
    EXPECT_TRUE(port.isInput());
    EXPECT_EQ(port.numConnections(), 0U);
}

TYPED_TEST(PortTemplateOf, HasTheTypesThatHostsBuildOn) {
    using P = PortTemplate<TypeParam>;
    static_assert(std::is_base_of_v<Port, P>);
    static_assert(std::is_same_v<decltype(std::declval<const P&>().get()), TypeParam>);
    static_assert(std::is_same_v<decltype(std::declval<P&>().getRef()), TypeParam&>);
    static_assert(std::is_same_v<decltype(std::declval<const P&>().getRef()), const TypeParam&>);
    P port("value");
    EXPECT_EQ(port.name(), "value");
    EXPECT_EQ(dynamic_cast<P*>(static_cast<Port*>(&port)), &port);
}

TYPED_TEST(PortTemplateOf, GivesBackWhatWasSet) {
    PortTemplate<TypeParam> port("value");
    port.set(Facts<TypeParam>::first());
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::first()));
    EXPECT_TRUE(same(port.getRef(), Facts<TypeParam>::first()));
    port.set(Facts<TypeParam>::second());
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::second()));
    port.set(port.getRef());
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::second()));
}

TYPED_TEST(PortTemplateOf, HandsOutItsOwnStorage) {
    PortTemplate<TypeParam> port("value");
    const PortTemplate<TypeParam>& constPort = port;
    EXPECT_EQ(&port.getRef(), &constPort.getRef());
    port.getRef() = Facts<TypeParam>::first();
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::first()));
    TypeParam copy = port.get();
    copy = Facts<TypeParam>::second();
    EXPECT_TRUE(same(copy, Facts<TypeParam>::second()));
    EXPECT_TRUE(same(port.get(), Facts<TypeParam>::first()));
}

TYPED_TEST(PortTemplateOf, HidesItsOwnValueWhileASourceFeedsIt) {
    Holder<TypeParam> source;
    Holder<TypeParam> sink;
    ASSERT_TRUE(source.out->connectTo(sink.in));
    source.out->set(Facts<TypeParam>::first());
    sink.in->set(Facts<TypeParam>::second());
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::first()));
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::first()));
    EXPECT_EQ(&sink.in->getRef(), &source.out->getRef());
    EXPECT_EQ(&std::as_const(*sink.in).getRef(), &source.out->getRef());
    ASSERT_TRUE(source.out->disconnectFrom(sink.in));
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::second()));
    EXPECT_NE(&sink.in->getRef(), &source.out->getRef());
}

TYPED_TEST(PortTemplateOf, ShowsOutsideStorageToItselfAndToWhatItFeeds) {
    Holder<TypeParam> source;
    Holder<TypeParam> sink;
    ASSERT_TRUE(source.out->connectTo(sink.in));
    TypeParam outside = Facts<TypeParam>::first();
    source.out->setLink(&outside);
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::first()));
    EXPECT_EQ(&source.out->getRef(), &outside);
    EXPECT_EQ(&sink.in->getRef(), &outside);
    outside = Facts<TypeParam>::second();
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::second()));

    source.out->set(Facts<TypeParam>::first());
    EXPECT_TRUE(same(outside, Facts<TypeParam>::second()));
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::second()));
    source.out->setLink(nullptr);
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::first()));
}

TYPED_TEST(PortTemplateOf, PrefersTheSourceToTheLinkOfAConnectedInput) {
    Holder<TypeParam> source;
    Holder<TypeParam> sink;
    TypeParam outside = Facts<TypeParam>::second();
    sink.in->setLink(&outside);
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::second()));
    source.out->set(Facts<TypeParam>::first());
    ASSERT_TRUE(source.out->connectTo(sink.in));
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::first()));
    ASSERT_TRUE(sink.in->disconnectFrom(source.out));
    EXPECT_EQ(&sink.in->getRef(), &outside);
}

TYPED_TEST(PortTemplateOf, CopiesValueAndLinkButNothingElse) {
    Holder<TypeParam> from;
    Holder<TypeParam> to;
    Holder<TypeParam> feeding;
    from.in->set(Facts<TypeParam>::first());
    to.in->set(Facts<TypeParam>::second());
    ASSERT_TRUE(feeding.out->connectTo(from.in));
    from.setDirty(false);
    to.setDirty(false);
    Port* base = to.in;
    base->copyValue(from.in);
    EXPECT_TRUE(same(to.in->get(), Facts<TypeParam>::first()));
    EXPECT_EQ(to.in->name(), "in");
    EXPECT_EQ(to.in->node(), &to);
    EXPECT_EQ(to.in->numConnections(), 0U);
    EXPECT_TRUE(to.in->isInput());
    EXPECT_FALSE(to.isDirty());

    TypeParam outside = Facts<TypeParam>::second();
    from.out->set(Facts<TypeParam>::first());
    from.out->setLink(&outside);
    to.in->copyValue(from.out);
    EXPECT_EQ(&to.in->getRef(), &outside);
    EXPECT_TRUE(to.in->isInput());
    to.in->setLink(nullptr);
    EXPECT_TRUE(same(to.in->get(), Facts<TypeParam>::first()));

    to.in->setLink(&outside);
    from.out->setLink(nullptr);
    to.in->copyValue(from.out);
    EXPECT_TRUE(same(to.in->get(), Facts<TypeParam>::first()));
    to.in->copyValue(to.in);
    EXPECT_TRUE(same(to.in->get(), Facts<TypeParam>::first()));
}

TYPED_TEST(PortTemplateOf, CopiesIntoAConnectedInputWithoutTouchingItsSource) {
    Holder<TypeParam> source;
    Holder<TypeParam> sink;
    PortTemplate<TypeParam> other("other");
    other.set(Facts<TypeParam>::first());
    source.out->set(Facts<TypeParam>::second());
    ASSERT_TRUE(source.out->connectTo(sink.in));
    sink.in->copyValue(&other);
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::second()));
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::second()));
    EXPECT_EQ(sink.in->input(), source.out);
    ASSERT_TRUE(source.out->disconnectFrom(sink.in));
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::first()));
}

TYPED_TEST(PortTemplateOf, DropsConnectionValueAndLinkOnReset) {
    Holder<TypeParam> source;
    Holder<TypeParam> sink;
    TypeParam outside = Facts<TypeParam>::second();
    source.out->set(Facts<TypeParam>::first());
    sink.in->set(Facts<TypeParam>::first());
    sink.in->setLink(&outside);
    ASSERT_TRUE(source.out->connectTo(sink.in));
    source.setDirty(false);
    sink.setDirty(false);
    Port* base = sink.in;
    base->reset();
    EXPECT_EQ(sink.in->numConnections(), 0U);
    EXPECT_EQ(sink.in->input(), nullptr);
    EXPECT_TRUE(same(sink.in->get(), Facts<TypeParam>::initial()));
    EXPECT_NE(&sink.in->getRef(), &outside);
    EXPECT_TRUE(same(outside, Facts<TypeParam>::second()));
    EXPECT_EQ(sink.in->node(), &sink);
    EXPECT_TRUE(sink.in->isInput());
    EXPECT_FALSE(sink.isDirty());
    EXPECT_EQ(source.out->getConnections(), std::vector<Port*>{sink.in});
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::first()));

    source.out->reset();
    EXPECT_TRUE(same(source.out->get(), Facts<TypeParam>::initial()));
    EXPECT_TRUE(source.out->isOutput());
    EXPECT_EQ(source.out->numConnections(), 0U);
}

TYPED_TEST(PortTemplateOf, ConnectsOnlyToItsOwnType) {
    Holder<TypeParam> mine;
    Sum number;
    tests::TextPipe text;
    const bool isNumber = std::is_same_v<TypeParam, double>;
    const bool isText = std::is_same_v<TypeParam, std::string>;
    EXPECT_EQ(mine.out->connectTo(number.in(0)), isNumber);
    EXPECT_EQ(mine.out->connectTo(text.in(0)), isText);
    const std::string start = std::string("Impossible connect a  ") + Facts<TypeParam>::typeStr + "  attribute to a  ";
    tests::Messages expected;
    if (!isNumber) {
        expected.push_back(start + "DoublePort  port ");
    }
    if (!isText) {
        expected.push_back(start + "StringPort  port ");
    }
    EXPECT_EQ(tests::takeLog(), expected);
    mine.reset();
}

TEST(PortTemplate, HasOneTypeStringForEachOfItsTwentyOneTypes) {
    const std::vector<std::string> typeStrs = {
        PortTemplate<bool>::staticTypeStr(),
        PortTemplate<Long>::staticTypeStr(),
        PortTemplate<double>::staticTypeStr(),
        PortTemplate<std::string>::staticTypeStr(),
        PortTemplate<Imath::M44d>::staticTypeStr(),
        PortTemplate<Imath::V3d>::staticTypeStr(),
        PortTemplate<Imath::Quatd>::staticTypeStr(),
        PortTemplate<Curve>::staticTypeStr(),
        PortTemplate<Mesh>::staticTypeStr(),
        PortTemplate<Image>::staticTypeStr(),
        PortTemplate<Curve*>::staticTypeStr(),
        PortTemplate<Mesh*>::staticTypeStr(),
        PortTemplate<std::vector<bool>>::staticTypeStr(),
        PortTemplate<std::vector<Long>>::staticTypeStr(),
        PortTemplate<std::vector<double>>::staticTypeStr(),
        PortTemplate<std::vector<std::string>>::staticTypeStr(),
        PortTemplate<std::vector<Imath::M44d>>::staticTypeStr(),
        PortTemplate<std::vector<Imath::V3d>>::staticTypeStr(),
        PortTemplate<std::vector<Imath::Quatd>>::staticTypeStr(),
        PortTemplate<std::vector<Curve>>::staticTypeStr(),
        PortTemplate<std::vector<Mesh>>::staticTypeStr(),
    };
    const std::vector<std::string> expected = {"BooleanPort",         "LongPort",        "DoublePort",
                                               "StringPort",          "MatrixPort",      "VectorPort",
                                               "QuaternionPort",      "CurvePort",       "MeshPort",
                                               "ImagePort",           "CurveRefPort",    "MeshRefPort",
                                               "BooleanArrayPort",    "LongArrayPort",   "DoubleArrayPort",
                                               "StringArrayPort",     "MatrixArrayPort", "VectorArrayPort",
                                               "QuaternionArrayPort", "CurveArrayPort",  "MeshArrayPort"};
    EXPECT_EQ(typeStrs, expected);
}

TEST(PortTemplate, CountsLongsInThirtyTwoBits) {
    static_assert(std::is_same_v<Long, std::int32_t>);
    static_assert(std::is_same_v<decltype(PortTemplate<Long>("p").get()), std::int32_t>);
    static_assert(std::is_same_v<decltype(PortTemplate<std::vector<Long>>("p").getRef()), std::vector<std::int32_t>&>);
}

TEST(PortTemplate, KeepsReferencesArraysAndElementsApart) {
    Holder<Curve> curve;
    Holder<Curve*> curveRef;
    Holder<std::vector<Curve>> curves;
    Holder<double> number;
    Holder<std::vector<double>> numbers;
    EXPECT_FALSE(curveRef.out->connectTo(curve.in));
    EXPECT_FALSE(curves.out->connectTo(curve.in));
    EXPECT_FALSE(numbers.out->connectTo(number.in));
    EXPECT_EQ(tests::takeLog(),
              (tests::Messages{"Impossible connect a  CurveRefPort  attribute to a  CurvePort  port ",
                               "Impossible connect a  CurveArrayPort  attribute to a  CurvePort  port ",
                               "Impossible connect a  DoubleArrayPort  attribute to a  DoublePort  port "}));
}

TEST(PortTemplate, MarksNodeAndDownstreamDirtyWhenAnInputIsSet) {
    Pipe a;
    Pipe b;
    Pipe c;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    ASSERT_TRUE(b.out()->connectTo(c.in()));
    for (Pipe* node : {&a, &b, &c}) {
        node->setDirty(false);
    }
    b.in()->set(1.0);  // Hidden by its source, and marked all the same.
    EXPECT_FALSE(a.isDirty());
    EXPECT_TRUE(b.isDirty());
    EXPECT_TRUE(c.isDirty());
    a.in()->set(0.0);  // The value that it has already.
    EXPECT_TRUE(a.isDirty());
}

TEST(PortTemplate, MarksNothingWhenAnOutputIsSetOrALinkIsMade) {
    Pipe a;
    Pipe b;
    ASSERT_TRUE(a.out()->connectTo(b.in()));
    a.setDirty(false);
    b.setDirty(false);
    double outside = 5.0;
    a.out()->set(1.0);
    a.out()->setLink(&outside);
    a.in()->setLink(&outside);
    b.in()->setLink(&outside);
    a.in()->getRef() = 3.0;
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(b.isDirty());
}

TEST(PortTemplate, SetsAnInputWithoutANode) {
    PortTemplate<double> port("p");
    port.set(2.5);
    EXPECT_EQ(port.get(), 2.5);
}

TEST(PortTemplate, ReleasesTheStorageOfItsArrayOnReset) {
    PortTemplate<std::vector<double>> numbers("numbers");
    numbers.set(std::vector<double>(1000, 1.0));
    numbers.reset();
    EXPECT_TRUE(numbers.getRef().empty());
    EXPECT_EQ(numbers.getRef().capacity(), 0U);
    PortTemplate<std::vector<bool>> flags("flags");
    flags.set(std::vector<bool>(1000, true));
    flags.reset();
    EXPECT_EQ(flags.getRef().capacity(), 0U);
    PortTemplate<std::vector<Mesh>> meshes("meshes");
    meshes.set(std::vector<Mesh>(10, someMesh(1)));
    meshes.reset();
    EXPECT_EQ(meshes.getRef().capacity(), 0U);
}

TEST(PortTemplate, GivesAVectorDefinedZerosAfterReset) {
    PortTemplate<Imath::V3d> port("v");
    port.set(Imath::V3d(1, 2, 3));
    port.reset();
    EXPECT_EQ(port.get(), Imath::V3d(0, 0, 0));
}

TEST(PortTemplate, LeavesWhatALinkPointsToAlone) {
    auto outside = std::make_unique<std::string>("kept");
    {
        PortTemplate<std::string> port("p");
        port.setLink(outside.get());
        port.set("own");
        EXPECT_EQ(port.get(), "kept");
    }
    EXPECT_EQ(*outside, "kept");
}

TEST(PortTemplate, GivesBackTheRoomOfATextThatIsReset) {
    PortTemplate<std::string> port("p");
    port.set(std::string(100000, 'x'));
    port.reset();
    EXPECT_EQ(port.get(), "");
    EXPECT_LT(port.getRef().capacity(), 100U);
}

TEST(PortTemplate, KeepsNaNAndSignedZero) {
    PortTemplate<double> port("p");
    port.set(-0.0);
    EXPECT_TRUE(std::signbit(port.get()));
    port.set(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(port.get()));
}

TEST(PortTemplate, FollowsItsSourceThroughEveryChangeOfWiring) {
    Pipe a;
    Pipe b;
    Pipe c;
    double outside = 100.0;
    a.out()->set(1.0);
    b.out()->set(2.0);
    c.in()->set(3.0);
    ASSERT_TRUE(c.in()->connectTo(a.out()));
    EXPECT_EQ(c.in()->get(), 1.0);
    a.out()->setLink(&outside);
    EXPECT_EQ(c.in()->get(), 100.0);
    a.out()->copyValue(b.out());
    EXPECT_EQ(c.in()->get(), 2.0);
    a.out()->reset();
    EXPECT_EQ(c.in()->get(), 0.0);
    a.out()->set(4.0);
    EXPECT_EQ(c.in()->get(), 4.0);
    ASSERT_TRUE(c.in()->disconnectFrom(a.out()));
    EXPECT_EQ(c.in()->get(), 3.0);
    ASSERT_TRUE(b.out()->connectTo(c.in()));
    EXPECT_EQ(c.in()->get(), 2.0);
}

TEST(PortTemplate, RefusesTheValueOfAnotherTypeAndSaysSo) {
    PortTemplate<double> number("number");
    PortTemplate<std::string> text("text");
    Port none("none");
    double outside = 2.0;
    number.set(1.0);
    number.setLink(&outside);
    text.set("a text that no number has room for");
    number.copyValue(&text);
    number.copyValue(&none);
    EXPECT_EQ(&number.getRef(), &outside);
    number.setLink(nullptr);
    EXPECT_EQ(number.get(), 1.0);
    const tests::Messages refused = {"Impossible copy a StringPort value to a DoublePort port ",
                                     "Impossible copy a Port value to a DoublePort port "};
    EXPECT_EQ(tests::takeLog(), refused);
}

}  // namespace
}  // namespace TessilGraph
