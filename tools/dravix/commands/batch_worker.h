/// The side of a batch that measures.
#pragma once

namespace dravix::tool {

/// Answers the questions that come from stdin, one after another, until there are no more. Works
/// with one thread, since as many processes do the same.
void AnswerQuestions();

}  // namespace dravix::tool
