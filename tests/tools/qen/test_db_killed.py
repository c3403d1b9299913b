"""A store whose commands are killed at random moments. soak_db_killed.py does the same for longer."""

import unittest

from db_killed import KilledTest, PostgresEngine, SqliteEngine
from faults import STRIDE
from support import IS_FOREIGN


class Killed(KilledTest):
    lives = 30 // STRIDE
    make_engine = SqliteEngine

    def test_what_was_put_is_whole_and_the_same_command_does_the_rest(self):
        self.check_put()

    def test_every_value_is_thinned_or_not_and_the_same_command_does_the_rest(self):
        self.check_retain()

    def test_half_a_transaction_is_noticed(self):
        self.check_that_half_a_transaction_is_noticed()


@unittest.skipIf(IS_FOREIGN, "the other machine has no PostgreSQL")
class KilledOnPostgres(KilledTest):
    lives = 4
    make_engine = PostgresEngine

    def test_what_was_put_is_whole_and_the_same_command_does_the_rest(self):
        self.check_put()

    def test_every_value_is_thinned_or_not_and_the_same_command_does_the_rest(self):
        self.check_retain()

    def test_half_a_transaction_is_noticed(self):
        self.check_that_half_a_transaction_is_noticed()
