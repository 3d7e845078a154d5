// The two radios' switches in the settings store, as the mesh code reads them.
#pragma once

namespace mesh_radio {

const int kRadioDisabled = 22;  // per radio: 1 when the radio is off
const int kMeshSwitch = 644;    // per radio: 1 when the radio carries the mesh

// Reads one per-radio setting of radio 0 (5 GHz) or 1 (2.4 GHz) into *value,
// leaving the current radio index as it was: false when the read fails.
bool read_setting(int radio, int id, int* value);

}  // namespace mesh_radio
