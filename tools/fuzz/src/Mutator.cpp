#include "Mutator.hpp"

#include "Mutations.hpp"

namespace fuzz {
namespace {

struct Weighted {
    Mutation mutation;
    unsigned weight;
};

// XML-aware mutations carry most of the weight: they reach the library past the parser.
const Weighted kMutations[] = {
    {bytes::FlipBits, 3},      {bytes::SetInterestingBytes, 2}, {bytes::InsertRandomBytes, 1},
    {bytes::DeleteRange, 2},   {bytes::DuplicateRange, 2},      {bytes::OverwriteWithRange, 1},
    {bytes::InsertToken, 3},   {bytes::SpliceSeeds, 1},         {bytes::Truncate, 1},
    {bytes::ChangeNumber, 3},  {xml::DuplicateElement, 8},      {xml::DeleteElement, 8},
    {xml::MoveElement, 4},     {xml::SetAttributeValue, 8},     {xml::SwapAlgorithmUri, 8},
    {xml::DeleteAttribute, 4}, {xml::AddAttribute, 4},          {xml::NestDeeper, 3},
    {xml::ReplaceText, 10},    {xml::LinkIdsAndUris, 6},        {xml::InsertSnippet, 8},
    {xml::RenameElement, 5},   {xml::SpliceElement, 5},         {xml::Reencode, 1},
};

Mutation PickMutation(Rng& rng) {
    unsigned total = 0;
    for (const Weighted& w : kMutations) total += w.weight;
    size_t ticket = rng.Below(total);
    for (const Weighted& w : kMutations) {
        if (ticket < w.weight) return w.mutation;
        ticket -= w.weight;
    }
    return kMutations[0].mutation;
}

}  // namespace

std::string Mutator::Make(Rng& rng, size_t& seedIndex) const {
    seedIndex = rng.Below(corpus_.size());
    std::string doc = corpus_[seedIndex].bytes;
    // A few inputs stay as they are: the paths of good documents keep being run, also
    // against whatever state earlier inputs left behind.
    if (rng.Percent(3)) return doc;
    MutationContext context{rng, corpus_, dictionary_};
    // Mostly one to four: a document changed in many places rarely gets past the parser.
    const size_t count = rng.Percent(90) ? rng.Between(1, 4) : rng.Between(5, 12);
    for (size_t i = 0, tries = 0; i < count && tries < 4 * count; ++tries) {
        std::string next = doc;
        if (!PickMutation(rng)(context, next) || next.size() > kInputMax || next.empty()) continue;
        doc.swap(next);
        ++i;
    }
    return doc;
}

}  // namespace fuzz
