// The source of the precompiled headers; tests include what they use all the same.
