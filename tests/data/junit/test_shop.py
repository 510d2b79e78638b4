import time
import pytest


def test_tc001_add_to_basket():
    assert 2 + 2 == 4


def test_tc002_remove_from_basket():
    basket = ["Café crème"]
    assert basket == [], "basket still holds the item"


@pytest.mark.skip(reason="card gateway not configured")
def test_tc003_pay_by_card():
    pass


@pytest.mark.parametrize("items", [1, 2])
def test_tc004_checkout_total(items):
    time.sleep(0.6)
    assert items > 0


def test_tc005_coupon_code():
    raise RuntimeError("coupon service <unreachable> & down")
