"""What an examination found."""


class Findings:
    """Collects everything that is wrong and everything worth a remark, each as one line of text."""

    def __init__(self):
        self.problems = []
        self.remarks = []

    def problem(self, subject, text):
        self.problems.append(f"{subject}: {text}")

    def remark(self, subject, text):
        self.remarks.append(f"{subject}: {text}")


class CannotWork(Exception):
    """What is needed for the work is missing, or a file cannot be read or written."""
