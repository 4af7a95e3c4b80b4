"""The library beside bare DCMTK programs, plain reads and other programs, measured as whole processes."""
