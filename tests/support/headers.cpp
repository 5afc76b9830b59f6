// Gives the precompiled headers a source. Tests include what they use nevertheless.
