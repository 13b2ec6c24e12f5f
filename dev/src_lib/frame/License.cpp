#include "zef/License.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <mutex>
#include <ratio>
#include <string>
#include <utility>

#include "frame/License.h"
#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

using Clock = std::chrono::system_clock;

struct LicenseState {
    std::mutex mutex;
    bool bGranted = true;
    bool bTrial = false;  // the grant ends at trialEnd
    Clock::time_point trialEnd;
    std::string key;  // empty for the grant that every process starts with
    LicensePolicy policy;

    bool isGranted() const { return bGranted && (!bTrial || Clock::now() < trialEnd); }
    const char* kind() const { return !isGranted() ? "none" : bTrial ? "trial" : "granted"; }
    // Begun ones count.
    std::int64_t daysLeft() const {
        using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;
        return std::chrono::ceil<Days>(trialEnd - Clock::now()).count();
    }
};

// Days without number end when the clock does.
Clock::time_point later(Clock::time_point start, int days) {
    const auto span = std::chrono::hours(24) * days;
    const auto room = std::chrono::duration_cast<std::chrono::hours>(Clock::time_point::max() - start);
    return span < room ? start + span : Clock::time_point::max();
}

LicenseState& licenseState() {
    static LicenseState state;
    return state;
}

}  // namespace

bool activateLicense(const std::string& key) {
    if (key.empty()) return false;
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    state.bGranted = true;
    state.bTrial = false;
    state.key = key;
    return true;
}

void deactivateLicense() {
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    state.bGranted = false;
    state.bTrial = false;
    state.key.clear();
}

bool extendTrial(int days) {
    if (days <= 0) return false;
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    if (state.bGranted && !state.bTrial) return true;
    const auto now = Clock::now();
    state.trialEnd = later(state.bTrial ? std::max(state.trialEnd, now) : now, days);
    state.bGranted = true;
    state.bTrial = true;
    return true;
}

bool isLicensed() {
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    return state.isGranted();
}

void printLicense() {
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    std::string line = std::string("ZEF, license: ") + state.kind();
    if (state.bTrial && state.isGranted())
        line += ", " + std::to_string(state.daysLeft()) + (state.daysLeft() == 1 ? " day left" : " days left");
    if (!state.key.empty()) line += ", key " + state.key;
    std::cout << line << std::endl;
}

void setLicensePolicy(LicensePolicy policy) {
    LicenseState& state = licenseState();
    const std::lock_guard lock(state.mutex);
    state.policy = std::move(policy);
}

void passLicenseGate(const char* gate, uint64 numPoints) {
    LicensePolicy policy;
    bool bGranted = false;
    {
        LicenseState& state = licenseState();
        const std::lock_guard lock(state.mutex);
        bGranted = state.isGranted();
        policy = state.policy;
    }
    // The policy runs without the lock, so that it may ask for the state itself.
    if (bGranted && (!policy || policy({gate, numPoints}))) return;
    const std::string text =
        std::string("the license does not allow ") + gate + " with " + std::to_string(numPoints) + " points";
    if (Run* const pRun = getRun()) {
        pRun->setError(text);
    } else {
        std::cout << "\nERROR: " + text + "\n" << std::flush;
    }
    throwLicense();
}

}  // namespace QUOR_ZEF
