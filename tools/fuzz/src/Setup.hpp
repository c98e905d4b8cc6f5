#pragma once
// What every mode of the fuzzer builds first from its options.
#include <string>

#include "Corpus.hpp"
#include "Dictionary.hpp"
#include "Exercise.hpp"
#include "Options.hpp"

namespace fuzz {

// The seeds of --corpus, sealed. False with a message when none could be read.
bool LoadCorpus(const Options& options, Corpus& corpus, std::string& error);
// The fixed dictionary and every URI the DLL's algorithm catalog lists.
void LoadDictionary(Dictionary& dictionary);
// The data of --external, read from the files named.
bool LoadSettings(const Options& options, ExerciseSettings& settings, std::string& error);

// All three; false, after printing why, when the corpus or the settings could not be read.
bool LoadInputs(const Options& options, Corpus& corpus, Dictionary& dictionary, ExerciseSettings& settings);

std::string HexText(uint64_t value);

}  // namespace fuzz
