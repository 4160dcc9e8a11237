"""The result of the checks."""


class Findings:
    """Collects problems and remarks, each as one line of text.

    A problem makes an archive unusable. A remark tells its owner something that may not be intended.
    """

    def __init__(self):
        self.problems = []
        self.remarks = []

    def problem(self, subject, text):
        """Adds a problem. The subject is a path, or the part of the archive that it concerns."""
        self.problems.append(f"{subject}: {text}")

    def remark(self, subject, text):
        """Adds a remark; the subject is as for a problem."""
        self.remarks.append(f"{subject}: {text}")


class CannotWork(Exception):
    """Something that the work needs is missing, or a file cannot be read or written."""
