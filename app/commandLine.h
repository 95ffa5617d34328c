#pragma once
// What the program says to a person who starts it by hand.

// The text that "--help" or "--version", the first of them that stands there, asks for; null when neither
// does. Null for every request, that is with "REQUEST_METHOD" in the environment: some web servers make
// arguments out of the query string.
const char* commandLineAnswer(int count, const char* const* arguments);
