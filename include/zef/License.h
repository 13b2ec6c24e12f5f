#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "zef/export.h"

namespace QUOR_ZEF {

// What a gate of the library asks of the policy.
struct LicenseRequest {
    std::string gate;         // the gate's name, such as "reconstruct"
    std::uint64_t numPoints;  // points or samples that the call is about; 0 if unknown
};

// True lets the call go on, false refuses it with a ZefLicenseException.
using LicensePolicy = std::function<bool(const LicenseRequest&)>;

// The licence state belongs to the process and starts as granted, so that
// nothing is ever refused unless the embedding application says so. Nothing here
// reads files, keys or the network. All calls may come from any thread.

// Grants the licence and remembers the key for printLicense().
// False, with nothing changed, if the key is empty.
ZEF_API bool activateLicense(const std::string& key);

// Takes the grant back: every gate then refuses until it is granted again.
ZEF_API void deactivateLicense();

// Grants the licence for this many days, from now or from the end of a running
// trial; a full grant stays as it is. False, with nothing changed, if days is not
// positive.
ZEF_API bool extendTrial(int days);

// True while the licence is granted. The policy is not asked.
ZEF_API bool isLicensed();

// One line about the state on standard output; of a trial it tells the days left.
ZEF_API void printLicense();

// Lets the application decide call by call, in addition to the state above.
// An empty function removes the policy. It may be called from several threads.
ZEF_API void setLicensePolicy(LicensePolicy policy);

}  // namespace QUOR_ZEF
