#pragma once

#include <string>

namespace jorvshare {

/// Builds the site that a recipe describes at `site`, which must not be there or be an empty
/// directory, and prints a summary. Whatever is inconsistent in the recipe is built as the recipe
/// says; for testing. docs/formats/recipe.md describes the format. On failure (ToolError,
/// SysException, Interrupted) nothing is left.
void Make(const std::string& recipePath, const std::string& site);

/// Reads a whole recipe and builds nothing. Unknown and repeated keys, values of the wrong type and
/// paths that would lead out of the site give ToolError with the place in the document as a JSON
/// pointer, e.g. "r.json: (/shares/0/id) type must be string, but is number".
void CheckRecipe(const std::string& path);

}  // namespace jorvshare
