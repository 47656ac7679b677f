# Installation rules.
