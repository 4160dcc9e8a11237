"""The driver archive: its layout, how it is packed, and what makes it right or wrong."""
