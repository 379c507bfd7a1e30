"""What tools/mutate is made of: the changes, the build, the jail, what tests can see, and the run over it all."""
