"""Mutation testing of src/. docs/mutation.md describes how it works and what it counts."""
