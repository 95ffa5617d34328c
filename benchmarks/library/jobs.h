#pragma once
// The jobs of the libraries: each is done by a loop written by hand for just that job, by ours, and by peers.
// The functions that add contenders first check that all of a job give the same result.

#include <functional>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct Contender {
    std::string job;
    std::string name;
    std::function<void()> run;          // the whole job once; this is measured
    std::function<void()> prepare = {}; // before each run, not measured; may be empty
};
using Contenders = std::vector<Contender>;

inline constexpr const char* byHand = "by hand";
inline constexpr const char* ours = "ours";

void addTextJobs(Contenders& all);     // by hand and ours
void addBinaryJobs(Contenders& all);   // by hand and ours
void addSettingsJobs(Contenders& all); // by hand and ours
void addTextPeers(Contenders& all);
void addBinaryPeers(Contenders& all);
void addGrowthCases(Contenders& all); // job "growth"; the names end in "/" and the size of the input

// Makes the compiler believe that the value is looked at.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

// Throws std::runtime_error if the condition does not hold.
template <typename Text>
void require(bool holds, const Text& what) {
    if (!holds)
        throw std::runtime_error(what);
}

// --- What the jobs work on, the same in every run ---

using PlainMap = std::map<std::string, std::string>;
using PlainList = std::list<std::string>;
using NamedTexts = std::vector<std::pair<std::string, std::string>>; // by job

inline constexpr int records = 100000;
inline constexpr const char* parameter = "success";
inline constexpr const char* status = "restarted";

extern const NamedTexts forms;
extern const NamedTexts percentTexts; // 1 MB with escapes
extern const std::string pageAddress;
extern const std::string plainText; // 1 MB; one byte in 20 is one of & < > ' "
extern const PlainMap plainMap;     // 10 000 settings
extern const PlainList plainList;   // their values

// --- What the contenders by hand give; peers must give the same ---

std::string rewriteByHand(std::string_view url); // with the parameter set to the status
void decodeFormByHand(std::string_view text, PlainMap& fields);
std::string decodePercentByHand(const std::string& text);
std::string escapeByHand(const std::string& text);
std::string unescapeByHand(const std::string& text);
