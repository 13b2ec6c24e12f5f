#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// What fuzzing tries, and the test that runs the inputs of fuzz/seeds again. Nothing may leave these functions, no
// sanitizer may complain, and each input takes some seconds at the most.

namespace zef_fuzz {

// Any bytes as a file with that ending: a LoadError may come of it, or points.
void readBytes(std::string_view ending, std::string bytes);

// Any bytes as a small cloud or soup and some calls on it with odd options: what the calls promise must hold, or
// one of the exceptions of errors.h comes of it.
void callDrawn(std::span<const std::uint8_t> bytes);

// Any text as arguments of the tool, a line each: it must answer with one of its statuses. Works in a temporary
// folder with some small files, and names no file outside of it. Numbers are cut, so that no run takes long.
void runWords(const std::string& text);

}  // namespace zef_fuzz
