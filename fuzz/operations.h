#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "fuzz/Draw.h"
#include "fuzz/scenes.h"
#include "zef/Context.h"

namespace zef_fuzz {

class Result;

// What a call gets and gives.
struct Call {
    const Scene& scene;
    Draw& draw;
    const std::string& folder;
    const QUOR_ZEF::Context& context;
    Result& result;
};

// One exported function of the newer interface, or a few that belong together.
struct Operation {
    const char* name;
    void (*run)(const Call&);
};

// All of them, in an order that stays; new ones come last.
std::span<const Operation> operations();

// A number for all that a call gives, with every bit of every real number; of an exception its kind.
using Digest = std::uint64_t;

// A call that held none of what its header promises, or ended in an InternalError.
struct Broken : std::logic_error {
    using std::logic_error::logic_error;
};

// Calls it with a copy of the scene and options out of the draw. folder: where files may be written, a few
// of fixed names. Throws Broken, CancelledError and std::bad_alloc only.
Digest call(const Operation& operation, const Scene& scene, Draw& draw, const std::string& folder,
            const QUOR_ZEF::Context& context);

}  // namespace zef_fuzz
