#include "frame/License.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/capture.h"
#include "zef/License.h"
#include "zef/exceptions.h"

using namespace QUOR_ZEF;
using zef_test::failureText;
using zef_test::printedText;

// The state belongs to the process, so each test gives it back as it starts.
class License : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(isLicensed()); }
    void TearDown() override {
        setLicensePolicy({});
        deactivateLicense();
        activateLicense("default");
    }
};

TEST_F(License, refusalPrintsOneErrorLineAndThrows) {
    EXPECT_EQ(printedText([] { passLicenseGate("reconstruct", 1000000000000); }), "");
    deactivateLicense();
    const std::string text = failureText<ZefLicenseException>([] { passLicenseGate("melt", 12); });
    EXPECT_EQ(text.substr(0, 8), "\nERROR: ");
    EXPECT_NE(text.find("melt"), std::string::npos);
    EXPECT_EQ(text.find('\n', 1), text.size() - 1);
    EXPECT_FALSE(activateLicense(""));
    EXPECT_FALSE(isLicensed());
    EXPECT_TRUE(activateLicense("K-1"));
    EXPECT_NO_THROW(passLicenseGate("melt", 12));
    EXPECT_NE(printedText(printLicense).find("K-1"), std::string::npos);
}

TEST_F(License, policyDecidesEachCallOfAGrantedLicense) {
    LicenseRequest seen;
    setLicensePolicy([&](const LicenseRequest& request) {
        seen = request;
        // A policy may ask for the state, so no lock is held around it.
        return isLicensed() && request.numPoints <= 100;
    });
    EXPECT_NO_THROW(passLicenseGate("toCloud", 100));
    EXPECT_EQ(seen.gate, "toCloud");
    EXPECT_EQ(seen.numPoints, 100u);
    failureText<ZefLicenseException>([] { passLicenseGate("reduce", 101); });
    deactivateLicense();
    failureText<ZefLicenseException>([] { passLicenseGate("reduce", 1); });
    EXPECT_EQ(seen.numPoints, 101u) << "not asked without a grant";
}

TEST_F(License, trialsAddUpButNeverShortenAFullGrant) {
    EXPECT_TRUE(extendTrial(1));
    EXPECT_NE(printedText(printLicense).find("granted"), std::string::npos);
    deactivateLicense();
    EXPECT_FALSE(extendTrial(0));
    EXPECT_FALSE(isLicensed());
    EXPECT_TRUE(extendTrial(1));
    EXPECT_NE(printedText(printLicense).find("trial, 1 day left"), std::string::npos);
    EXPECT_TRUE(extendTrial(2));
    EXPECT_NE(printedText(printLicense).find("trial, 3 days left"), std::string::npos);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(extendTrial(std::numeric_limits<int>::max()));
        EXPECT_TRUE(isLicensed());
    }
}
