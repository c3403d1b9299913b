"""A store whose commands are killed at random moments. soak_db_killed.py does the same for longer."""

import os

from db_killed import KilledTest

STRIDE = int(os.environ.get("QEN_FAULTS_STRIDE", "1"))


class Killed(KilledTest):
    lives = 30 // STRIDE

    def test_what_was_put_is_whole_and_the_same_command_does_the_rest(self):
        self.check_put()

    def test_every_value_is_thinned_or_not_and_the_same_command_does_the_rest(self):
        self.check_retain()
