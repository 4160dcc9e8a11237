"""Mutation testing of src/; docs/mutation.md tells how it works and what it counts."""
