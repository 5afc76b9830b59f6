"""Asks a camera for everything, for long, while things go wrong in it, and looks whether it stays as it was."""
