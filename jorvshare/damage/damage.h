#pragma once

#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

/// Breaks one named thing of a share, and prints what was changed and the finding to expect of the
/// checker on a share that was sound, by id and text of the catalogue. The same site and seed give
/// the same choice. For testing only. Failures are ToolErrors and SysExceptions; `options.kind`
/// must be a kind.
void Damage(const DamageOptions& options);

/// Prints the kinds, one line each: name, ids of the findings in the layout with extent files, in
/// that with mapping tables ("-": not for this layout), and what is broken.
void List();

/// Whether there is a kind of that name.
bool IsKind(const std::string& name);

}  // namespace jorvshare::damage
