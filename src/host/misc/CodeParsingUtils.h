// The declaration splitter used by the effect reader.
#pragma once

#include "host/base/LightweightString.h"

#include <vector>

namespace CodeParsingUtils {

// Returns the arguments of a declaration such as
//     DeclareFloatParam( Amount, "Amount, in %", kNoGroup, Hidden, 0.5, 0, f(1,2) )
// The rule:
//  - The arguments lie between the first "(" and the ")" that closes it; a
//    line without "(" gives no arguments. A missing closing ")" lets the list
//    run to the end of the line.
//  - They are split at commas that are at the top level: a comma inside
//    double quotes or inside inner parentheses is part of its argument.
//  - Blanks (spaces and tabs) around each argument are removed; quotes are
//    kept (the effect reader strips them).
//  - An empty list, "()" or "( )", gives no arguments at all; otherwise every
//    comma separates two arguments, so "(a,)" gives "a" and "".
std::vector<LightweightString<char>> extractDeclarationArguments(const LightweightString<char>& line);

} // namespace CodeParsingUtils
