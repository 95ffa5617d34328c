#pragma once
// Answers to command-line options.

// Returns the text for the first "--help" or "--version" among the arguments, or null if there is neither.
// Always returns null if "REQUEST_METHOD" is set: some web servers pass the query string as arguments.
const char* commandLineAnswer(int count, const char* const* arguments);
