"""Writers of compressed data for methods that no packer on the machine writes.

They are simple and compress badly, but use every part of a format that a decoder has to read.
"""
