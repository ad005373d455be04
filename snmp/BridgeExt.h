#pragma once

// Registers the maker's bridge extension (VELTRA-BRIDGE-EXT-MIB): veltraDot1qTpFdbTable,
// the move count and last move time of every learned address. Called once, by the unit's
// registration hook.
void init_BridgeExt();
void initialize_table_veltraDot1qTpFdbTable();
