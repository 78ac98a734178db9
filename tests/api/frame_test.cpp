#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "api/frame.hpp"
#include "snapshot/point.hpp"
#include "support/exports.hpp"

using namespace Tervik::Rom;
namespace Frame = Api::Frame;

TEST(Frame, TurnsExceptionsIntoHandles) {
    ROM_OK(Frame::Run(ROM_CALL(void())));
    EXPECT_EQ(TextOf(Frame::Run(ROM_CALL(throw Common::RomException("library text")))), "library text");
    EXPECT_EQ(TextOf(Frame::Run(ROM_CALL(throw std::length_error("string too long")))), "string too long");
    EXPECT_EQ(TextOf(Frame::Run(ROM_CALL(throw 42))), "Unknown error.");
    EXPECT_EQ(TextOf(Frame::Run(ROM_CALL(throw "a bare string"))), "Unknown error.");
}

TEST(Frame, WritesOutParametersOnlyOnSuccess) {
    double out = -1;
    EXPECT_EQ(TextOf(Frame::Run(&out, [&]() -> double { throw Common::RomException("no"); })), "no");
    EXPECT_EQ(out, -1);
    ROM_OK(Frame::Run(&out, ROM_CALL(2.5)));
    EXPECT_EQ(out, 2.5);

    bool ran = false;
    double* none = nullptr;
    EXPECT_EQ(TextOf(Frame::Run(none, [&] { return ran = true, 1.0; })), "Invalid output argument: null.");
    EXPECT_FALSE(ran) << "the body must not run when its result has nowhere to go";

    std::uint32_t flag = 7;
    ROM_OK(Frame::Run(&flag, ROM_CALL(true)));
    EXPECT_EQ(flag, 1u);

    // Two out-parameters: written together, once the body succeeded.
    std::uint32_t id = 77;
    double value = 7.5;
    const auto both = [&](bool fail) {
        Frame::Both(&id, &value, [&](std::uint32_t& i, double& v) {
            i = 1;
            v = 2.0;
            if (fail) throw Common::RomException("no");
        });
    };
    EXPECT_EQ(TextOf(Frame::Run(ROM_CALL(both(true)))), "no");
    EXPECT_EQ(std::make_pair(id, value), std::make_pair(77u, 7.5));
    ROM_OK(Frame::Run(ROM_CALL(both(false))));
    EXPECT_EQ(std::make_pair(id, value), std::make_pair(1u, 2.0));
}

TEST(Frame, HandsOutObjectsAsTheirRootAndStringsWhereTheyLive) {
    Snapshot::CPoint point;
    RomObject* handle = nullptr;
    ROM_OK(Frame::Run(&handle, [&]() -> Snapshot::IPoint& { return point; }));
    EXPECT_EQ(handle, static_cast<Common::IRomObject*>(&point));
    ROM_OK(Frame::Run(&handle, ROM_CALL(static_cast<Snapshot::IPoint*>(nullptr))));
    EXPECT_EQ(handle, nullptr);

    const std::string text = "kept";
    const char* out = nullptr;
    ROM_OK(Frame::Run(&out, ROM_CALL(text)));
    EXPECT_EQ(out, text.c_str());
}

TEST(Frame, ExceptionHandleIsNeverNull) {
    RomExceptionHandle error = Api::Frame::MakeException("");
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(RomGetExceptionDescription(error), "");
    RomReleaseException(error);
    RomReleaseException(nullptr);
}
