"""The driver archive: its layout, how it is packed and how it is verified."""
