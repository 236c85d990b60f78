// Placeholder translation unit removed once the library has sources.
