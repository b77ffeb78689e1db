#include "host/recipes/json_text.h"
#include "host/text/failure.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

TEST(JsonText, KeepsWhatIsUtf8) {
    const Json json = {{"H\xC3\xB6he", {"a\\b", 1, nullptr}}};
    EXPECT_EQ(format_json(json), "{\"H\xC3\xB6he\":[\"a\\\\b\",1,null]}");
}

TEST(JsonText, ShowsBytesThatAreNoUtf8InTextsAndKeysAtAnyDepth) {
    const Json json = {{"Gr\xF6\xDF"
                        "e",
                        {{"x", Json::array({"\xFF", 2.5})}}}};
    EXPECT_EQ(Json::parse(format_json(json)),
              Json::parse(R"({"Gr\\xF6\\xDFe":{"x":["\\xFF",2.5]}})"));
    EXPECT_EQ(format_json(Json("\xFF"), 2), R"("\\xFF")");
}

TEST(JsonText, RefusesWhatMustComeBackAsItIs) {
    EXPECT_NO_THROW(refuse_invalid_utf8("H\xC3\xB6he"));
    try {
        refuse_invalid_utf8("--group=\xF6");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Usage);
        EXPECT_STREQ(failure.what(),
                     R"('--group=\xF6' is no UTF-8, and the history cannot keep it)");
    }
}

} // namespace
} // namespace talvora::host
