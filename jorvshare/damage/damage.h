#pragma once

#include "jorvshare/damage/scene.h"

namespace jorvshare {

/// Breaks one named thing of a share, and prints what was changed and how the checker's output
/// then differs. The same site and seed give the same choice. For testing only. Failures are
/// ToolErrors and SysExceptions; `options.kind` must be a kind.
void Damage(const damage::DamageOptions& options);

/// Prints the kinds, one line each: name, modes in the layout with extent files, modes in that with
/// mapping tables ("-": not for this layout), and what is broken.
void ListDamage();

/// Whether there is a kind of that name.
bool IsDamageKind(const std::string& name);

}  // namespace jorvshare
