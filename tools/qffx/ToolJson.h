// The JSON that qffx's --json outputs print.
//
// A command builds its document as a Json value (nlohmann's ordered_json: the
// keys stay in the order they are added) and prints it with jsonText, which
// lays it out the way every --json output of the tool looks:
//
//   {
//     "name": "Tint",
//     "inputs": [
//       {"name": "Input", "kind": "input"},
//       {"name": "Mask", "kind": "mask"}
//     ],
//     "flags": ["a", "b"]
//   }
//
// The outermost value has one member (or element) a line; an array of objects
// directly inside it has one object a line; everything deeper is written on
// one line with ", " and ": " between its parts. Empty containers are "[]" and
// "{}".
//
// Strings are written as UTF-8; bytes that are not UTF-8 (a file name can hold
// any byte) are replaced by U+FFFD, so the text is valid JSON for any input.
// Numbers ignore the process's locale: integers as they are, a float that
// holds a whole number below 1e15 as that integer, any other float as the
// shortest text that reads back as the same double, and NaN and infinities
// (which JSON cannot hold) as null.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

using Json = nlohmann::ordered_json;

// `value` laid out as above, with a final newline. `indent` spaces a level.
std::string jsonText(const Json& value, int indent = 2);

// `value` rounded to `places` decimals, for figures printed with that precision.
double roundedTo(double value, int places);
