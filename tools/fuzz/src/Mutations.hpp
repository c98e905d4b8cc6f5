#pragma once
// The single mutations. Each changes `doc` in place and answers whether it could (an XML
// mutation finds nothing to work on in a document without elements, for instance).
#include <string>

#include "Corpus.hpp"
#include "Dictionary.hpp"
#include "Rng.hpp"

namespace fuzz {

struct MutationContext {
    Rng& rng;
    const Corpus& corpus;
    const Dictionary& dictionary;
};

using Mutation = bool (*)(MutationContext&, std::string&);

namespace bytes {
bool FlipBits(MutationContext& c, std::string& doc);
bool SetInterestingBytes(MutationContext& c, std::string& doc);
bool InsertRandomBytes(MutationContext& c, std::string& doc);
bool DeleteRange(MutationContext& c, std::string& doc);
bool DuplicateRange(MutationContext& c, std::string& doc);
bool OverwriteWithRange(MutationContext& c, std::string& doc);
bool InsertToken(MutationContext& c, std::string& doc);
bool SpliceSeeds(MutationContext& c, std::string& doc);
bool Truncate(MutationContext& c, std::string& doc);
bool ChangeNumber(MutationContext& c, std::string& doc);
}  // namespace bytes

namespace xml {
bool DuplicateElement(MutationContext& c, std::string& doc);
bool DeleteElement(MutationContext& c, std::string& doc);
bool MoveElement(MutationContext& c, std::string& doc);
bool SetAttributeValue(MutationContext& c, std::string& doc);
bool SwapAlgorithmUri(MutationContext& c, std::string& doc);
bool DeleteAttribute(MutationContext& c, std::string& doc);
bool AddAttribute(MutationContext& c, std::string& doc);
bool NestDeeper(MutationContext& c, std::string& doc);
bool ReplaceText(MutationContext& c, std::string& doc);
bool LinkIdsAndUris(MutationContext& c, std::string& doc);
bool InsertSnippet(MutationContext& c, std::string& doc);
bool RenameElement(MutationContext& c, std::string& doc);
bool SpliceElement(MutationContext& c, std::string& doc);
bool Reencode(MutationContext& c, std::string& doc);
}  // namespace xml

// Random Base64 text of `bytes` decoded bytes, now and then with white space, wrong
// padding or a character outside the alphabet.
std::string RandomBase64(Rng& rng, size_t bytes);

}  // namespace fuzz
